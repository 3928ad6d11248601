// UTF-8 characters, unit arrays and the guess whether a text is UTF-8.
#include "vos/utf8.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

TEST(Utf8, AcceptsWellFormedSequencesOnly) {
    struct Case {
        std::string bytes;
        int used;
        uint32_t unit;
    };
    for (const Case &c :
         {Case{"a", 1, 'a'}, Case{"\xC3\xA9", 2, 0xE9}, Case{"\xE4\xB8\xAD", 3, 0x4E2D},
          Case{"\xF0\xA0\x80\x80", 4, 0x20000}, Case{"\xFD\xBF\xBF\xBF\xBF\xBF", 6, 0x7FFFFFFF},
          Case{"\xC0\x80", -1, 0}, Case{"\xE0\x9F\xBF", -1, 0}, Case{"\xC3", -1, 0}, Case{"\xC3(", -1, 0},
          Case{"\x80", -1, 0}, Case{"\xFE\xBF\xBF\xBF\xBF\xBF\xBF", -1, 0}, Case{"", -1, 0}}) {
        const std::vector<uint8_t> exact(c.bytes.begin(), c.bytes.end());
        uint32_t unit = 0;
        EXPECT_EQ(utf8_mbtowc(&unit, exact.empty() ? reinterpret_cast<const uint8_t *>("") : exact.data(),
                              static_cast<int32_t>(exact.size())),
                  c.used);
        EXPECT_EQ(unit, c.unit);
        if (c.used > 0) {
            uint8_t bytes[6];
            EXPECT_EQ(utf8_wctomb(bytes, c.unit, sizeof bytes), c.used);
            EXPECT_EQ(c.bytes.compare(0, std::string::npos, reinterpret_cast<char *>(bytes), c.bytes.size()), 0);
        }
    }
    uint8_t out[8];
    EXPECT_EQ(utf8_wctomb(out, 0x4E2D, 2), -1);
    EXPECT_EQ(utf8_wctomb(out, 0x80000000, 6), -1);
    EXPECT_EQ(utf8_wctomb(nullptr, 'a', 1), 0);
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
    for (const auto &[text, isUtf8] :
         std::initializer_list<std::pair<std::string, bool>>{{"ascii", false},
                                                             {"", false},
                                                             {"\xE4\xB8\xAD\xE6\x96\x87", true},
                                                             {"\xD6\xD0\xCE\xC4", false},
                                                             {"caf\xC3\xA9", false},
                                                             {"caf\xC3\xA9x", false},
                                                             {"\xE4\xB8", false},
                                                             {"\xFF\xFF\xFF", false}}) {
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
