// UTF-8 characters, unit arrays and the guess whether a text is UTF-8.
#include "vos/utf8.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

TEST(Utf8, AcceptsWellFormedSequencesOnly) {
    struct Row {
        std::string bytes;
        int used;
        uint32_t unit;
    };
    const Row kRows[] = {
        {"a", 1, 'a'},
        {"\xC3\xA9", 2, 0xE9},
        {"\xE4\xB8\xAD", 3, 0x4E2D},
        {"\xF0\xA0\x80\x80", 4, 0x20000},
        {"\xFD\xBF\xBF\xBF\xBF\xBF", 6, 0x7FFFFFFF},
    };
    for (const auto *broken :
         {"\xC0\x80", "\xE0\x9F\xBF", "\xC3", "\xC3(", "\x80", "\xFE\xBF\xBF\xBF\xBF\xBF\xBF", ""}) {
        uint32_t unit = 0;
        EXPECT_EQ(utf8_mbtowc(&unit, reinterpret_cast<const uint8_t *>(broken), static_cast<int32_t>(strlen(broken))),
                  -1);
        EXPECT_EQ(unit, 0u);
    }
    for (const Row &c : kRows) {
        const std::vector<uint8_t> exact(c.bytes.begin(), c.bytes.end());
        uint32_t unit = 0;
        EXPECT_EQ(utf8_mbtowc(&unit, exact.data(), static_cast<int32_t>(exact.size())), c.used);
        EXPECT_EQ(unit, c.unit);
        uint8_t bytes[6];
        EXPECT_EQ(utf8_wctomb(bytes, c.unit, sizeof bytes), c.used);
        EXPECT_EQ(memcmp(bytes, c.bytes.data(), c.bytes.size()), 0);
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
    const std::pair<std::string, bool> kRows[] = {
        {"ascii", false},
        {"", false},
        {"\xE4\xB8\xAD\xE6\x96\x87", true},
        {"\xD6\xD0\xCE\xC4", false},
        {"caf\xC3\xA9", false},
        {"caf\xC3\xA9x", false},
        {"\xE4\xB8", false},
        {"\xFF\xFF\xFF", false},
    };
    for (const auto &[text, isUtf8] : kRows) {
        EXPECT_EQ(UTIL_strIsUTF8(text.c_str()), isUtf8) << text;
    }
    std::string text;
    for (int i = 0; i < 85; i++) {
        text += "\xE4\xB8\xAD";
    }
    EXPECT_TRUE(UTIL_strIsUTF8(text.c_str()));  // 170 against 255
    EXPECT_EQ(UTIL_strIsUTF8((text + "\xE4\xB8\xAD").c_str()), UTIL_strIsUTF8((text + "\xE4").c_str()));
}

}  // namespace
