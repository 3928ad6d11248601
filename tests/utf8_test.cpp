// UTF-8 characters, unit arrays and the guess whether a text is UTF-8.
#include "vos/utf8.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

TEST(Utf8, AcceptsWellFormedSequencesOnly) {
    const std::pair<std::string, uint32_t> kRows[] = {{"a", 'a'},
                                                      {"\xC3\xA9", 0xE9},
                                                      {"\xE4\xB8\xAD", 0x4E2D},
                                                      {"\xF0\xA0\x80\x80", 0x20000},
                                                      {"\xFD\xBF\xBF\xBF\xBF\xBF", 0x7FFFFFFF}};
    for (const auto *broken :
         {"\xC0\x80", "\xE0\x9F\xBF", "\xC3", "\xC3(", "\x80", "\xFE\xBF\xBF\xBF\xBF\xBF\xBF", ""}) {
        uint32_t unit = 0;
        EXPECT_EQ(utf8_mbtowc(&unit, reinterpret_cast<const uint8_t *>(broken), static_cast<int32_t>(strlen(broken))),
                  -1);
        EXPECT_EQ(unit, 0u);
    }
    for (const auto &[bytes, value] : kRows) {
        const std::vector<uint8_t> exact(bytes.begin(), bytes.end());
        const auto size = static_cast<int32_t>(exact.size());
        uint32_t unit = 0;
        EXPECT_EQ(utf8_mbtowc(&unit, exact.data(), size), size);
        EXPECT_EQ(unit, value);
        uint8_t written[6];
        EXPECT_EQ(utf8_wctomb(written, value, sizeof written), size);
        EXPECT_EQ(memcmp(written, exact.data(), exact.size()), 0);
    }
    uint8_t out[8];
    EXPECT_EQ(utf8_wctomb(out, 0x4E2D, 2), -1);
    EXPECT_EQ(utf8_wctomb(out, 0x80000000, 6), -1);
    uint32_t units[8] = {};
    EXPECT_EQ(utf8_mbstowcs(units, reinterpret_cast<const uint8_t *>("a\xC3\xA9\x80z"), 5), 3);
    EXPECT_EQ(units[1], 0xE9u);
    EXPECT_EQ(utf8_mbstowcs(units, reinterpret_cast<const uint8_t *>("abc"), 2), 2);
}

TEST(Utf8, WritesAsciiWithoutTakingRoom) {
    const uint32_t ascii[] = {'a', 'b', 'c', 0};
    uint8_t out[16] = {};
    EXPECT_EQ(utf8_wcstombs(out, ascii, 1), 3);
    EXPECT_EQ(utf8_wcstombs(out, ascii, 0), 0);
    const uint32_t mixed[] = {'a', 0x4E2D, 0xE9, 'b', 0xE9, 0};
    for (const auto &[room, written] : {std::pair{3, 4}, {4, 4}, {6, 7}, {7, 9}}) {
        EXPECT_EQ(utf8_wcstombs(out, mixed, room), written) << room;
    }
}

TEST(Utf8, IsGuessedByScores) {
    EXPECT_TRUE(UTIL_strIsUTF8("\xE4\xB8\xAD\xE6\x96\x87"));
    for (const char *no :
         {"ascii", "", "\xD6\xD0\xCE\xC4", "caf\xC3\xA9", "caf\xC3\xA9x", "\xE4\xB8", "\xFF\xFF\xFF"}) {
        EXPECT_FALSE(UTIL_strIsUTF8(no)) << no;
    }
    std::string text;
    for (int i = 0; i < 85; i++) {
        text += "\xE4\xB8\xAD";
    }
    EXPECT_TRUE(UTIL_strIsUTF8(text.c_str()));  // 170 against 255
    EXPECT_EQ(UTIL_strIsUTF8((text + "\xE4\xB8\xAD").c_str()), UTIL_strIsUTF8((text + "\xE4").c_str()));
}

}  // namespace
