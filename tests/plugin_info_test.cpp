// Keys of a plug-in's description file.
#include "vos/plugin_info.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/files.h"
#include "vos/mem.h"

namespace {

TEST(PluginInfo, ReadsTheFirstMatchingLine) {
    const vostest::TempDir dir;
    struct Case {
        const char *what;
        std::string contents;
        std::string name;
    };
    const std::string x(200, 'x');
    for (const Case &c :
         {Case{"white space goes", "Vendor: a\nName :  com.example.led \r\n", "com.example.led"},
          Case{"the first line wins", "Name:one\nName:two\n", "one"},
          Case{"a key is a prefix", "NameServer: 10.0.0.1\nName: real\n", "10.0.0.1"},
          Case{"case and place count", "name: a\n Name: b\n", "untouched"},
          Case{"no colon, no value", "Name led\nName: later\n", "untouched"}, Case{"empty value", "Name:\n", ""},
          Case{"further colons belong to the value", "Name: a:b\n", "a:b"},
          Case{"no newline at the end", "Name: last", "last"},
          Case{"a long line counts for its first part", "Name:" + x + "\n", x.substr(0, 122)},
          Case{"the rest of a long line is skipped", "Long:" + x.substr(0, 122) + "Name: no\nName: yes\n", "yes"},
          Case{"a line of exactly the limit", "Vendor:" + x.substr(0, 120) + "\nName: next\n", "next"}}) {
        SCOPED_TRACE(c.what);
        vostest::writeText(dir / "Info.plugin", c.contents);
        char buf[256] = "untouched";
        EXPECT_EQ(UTIL_pluginGetInfoName((dir / "Info.plugin").c_str(), buf, sizeof buf), VOS_RET_OK);
        EXPECT_EQ(buf, c.name);
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
    EXPECT_EQ(UTIL_pluginGetName(nullptr, 8), VOS_RET_BAD_ARG);
    std::filesystem::current_path("/tmp");
}

TEST(PluginInfo, LineTestsTakeAnyText) {
    EXPECT_EQ(util_pluginIsField("Name", "Name"), 1);
    EXPECT_EQ(util_pluginIsField("Name", "Nam"), 0);
    EXPECT_EQ(util_pluginIsField(nullptr, "Name"), 0);
    EXPECT_EQ(util_pluginIsField("Name", nullptr), 0);
    EXPECT_EQ(util_pluginParseGetVal("Name", ":"), nullptr);
    EXPECT_EQ(util_pluginParseGetVal(nullptr, ":"), nullptr);
    char *value = util_pluginParseGetVal("a:b", "a:b: \t value\v\f");
    EXPECT_STREQ(value, "value");
    VOS_FREE(value);
}

}  // namespace
