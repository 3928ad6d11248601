// Keys of a plug-in's description file.
#include "vos/plugin_info.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/files.h"

namespace {

TEST(PluginInfo, ReadsTheFirstMatchingLine) {
    const vostest::TempDir dir;
    const std::string x(200, 'x');
    const std::tuple<const char *, std::string, std::string> kRows[] = {
        {"white space goes", "Vendor: a\nName : \t com.example.led \v\f\r\n", "com.example.led"},
        {"the first line wins", "Name:one\nName:two\n", "one"},
        {"a key is a prefix", "NameServer: 10.0.0.1\nName: real\n", "10.0.0.1"},
        {"case and place count", "name: a\n Name: b\n", "untouched"},
        {"no colon, no value", "Name led\nName: later\n", "untouched"},
        {"empty value", "Name:\n", ""},
        {"further colons belong to the value", "Name: a:b\n", "a:b"},
        {"no newline at the end", "Name: last", "last"},
        {"a long line counts for its first part", "Name:" + x + "\n", x.substr(0, 122)},
        {"the rest of a long line is skipped", "Long:" + x.substr(0, 122) + "Name: no\nName: yes\n", "yes"},
        {"a line of exactly the limit", "Vendor:" + x.substr(0, 120) + "\nName: next\n", "next"},
    };
    for (const auto &[what, contents, name] : kRows) {
        SCOPED_TRACE(what);
        vostest::writeText(dir / "Info.plugin", contents);
        char buf[256] = "untouched";
        EXPECT_EQ(UTIL_pluginGetInfoName((dir / "Info.plugin").c_str(), buf, sizeof buf), VOS_RET_OK);
        EXPECT_EQ(buf, name);
    }
}

TEST(PluginInfo, LooksOneDirectoryUp) {
    const vostest::TempDir dir;
    std::filesystem::create_directory(dir / "bin");
    std::filesystem::current_path(dir / "bin");
    char buf[4096] = "untouched";
    EXPECT_EQ(UTIL_pluginGetName(buf, sizeof buf), VOS_RET_OPEN_FAILED);
    EXPECT_STREQ(buf, "untouched");
    const std::string list(2100, 'i');
    vostest::writeText(dir / "Info.plugin", "ImportInterface: " + list + "\nName: com.example.led\n");
    EXPECT_EQ(UTIL_pluginGetImportInterface(buf, sizeof buf), VOS_RET_OK);
    EXPECT_EQ(buf, list.substr(0, 2047 - 17));
    EXPECT_EQ(UTIL_pluginGetName(buf, 8), VOS_RET_OK);
    EXPECT_STREQ(buf, "com.exa") << "cut to the buffer";
    std::filesystem::current_path("/tmp");
}

}  // namespace
