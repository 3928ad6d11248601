// GB18030 against ICU on every code; halves between calls; whole texts.
#include "vos/gb18030.h"

#include <gtest/gtest.h>
#ifdef VOS_TEST_HAS_ICU
#include <unicode/ucnv.h>
#endif

#include <memory>
#include <string>

namespace {

using namespace std::string_literals;

std::string owned(char *text) {
    const std::unique_ptr<char, decltype(&free)> guard{text, free};
    return text == nullptr ? "(NULL)" : text;
}

#ifdef VOS_TEST_HAS_ICU
/** What ICU makes of a code or of a character; empty where it refuses. */
template <typename To, typename From, typename Convert>
std::basic_string<To> icu(Convert convert, const std::basic_string<From> &text) {
    static UErrorCode opened = U_ZERO_ERROR;
    static const std::unique_ptr<UConverter, decltype(&ucnv_close)> kConverter = [] {
        UConverter *converter = ucnv_open("gb18030", &opened);
        ucnv_setToUCallBack(converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &opened);
        ucnv_setFromUCallBack(converter, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &opened);
        return std::unique_ptr<UConverter, decltype(&ucnv_close)>{converter, ucnv_close};
    }();
    UErrorCode error = U_ZERO_ERROR;
    To out[8];
    const int32_t count = convert(kConverter.get(), out, 8, text.data(), static_cast<int32_t>(text.size()), &error);
    return std::basic_string<To>(out, U_FAILURE(error) ? 0 : static_cast<size_t>(count));
}
std::u16string icuDecode(const std::string &code) {
    return icu<char16_t>(ucnv_toUChars, code);
}
std::string icuEncode(const std::u16string &text) {
    return icu<char>(ucnv_fromUChars, text);
}

// All units that a code gives, in as many calls as it takes; empty when it cannot be decoded.
std::u16string decode(const std::string &code) {
    std::u16string units;
    for (size_t at = 0; at < code.size();) {
        uint32_t unit = 0;
        const int used = char2uni(reinterpret_cast<const uint8_t *>(code.data()) + at,
                                  static_cast<int32_t>(code.size() - at), &unit);
        if (used < 1) {
            return u"";
        }
        units += static_cast<char16_t>(unit);
        at += static_cast<size_t>(used);
    }
    return units;
}

std::string encode(const std::u16string &units) {
    std::string code;
    for (const char16_t unit : units) {
        uint8_t bytes[4];
        const int written = uni2char(unit, bytes, sizeof bytes);
        if (written < 0) {
            return "";
        }
        code.append(reinterpret_cast<char *>(bytes), static_cast<size_t>(written));
    }
    return code;
}

TEST(Gb18030, DecodesEveryCodeAsIcuDoes) {
    for (unsigned first = 0x80; first <= 0xFF; first++) {
        for (unsigned second = 0x40; second <= 0xFF; second++) {
            const std::string code{static_cast<char>(first), static_cast<char>(second)};
            ASSERT_EQ(decode(code), first == 0x80 || first == 0xFF ? u"" : icuDecode(code)) << first << " " << second;
        }
    }
    for (unsigned linear = 0; linear < (0xFE - 0x81 + 1) * 12600u; linear++) {
        const unsigned first = 0x81 + linear / 12600;
        const std::string code{static_cast<char>(first), static_cast<char>(0x30 + linear / 1260 % 10),
                               static_cast<char>(0x81 + linear / 10 % 126), static_cast<char>(0x30 + linear % 10)};
        const std::u16string expected = icuDecode(code);
        const bool beyond =
            expected == u"\xFFFF" || (expected.size() == 2 && (expected[0] < 0xD840 || expected[0] >= 0xD880));
        ASSERT_EQ(decode(code), beyond ? u"" : expected) << linear;
    }
}

TEST(Gb18030, EncodesEveryCharacterAsIcuDoes) {
    constexpr uint32_t kInexpressible = 0xE7C7;  // its code lies in front of what the reverse table can say
    for (uint32_t c = 1; c < 0x110000; c++) {
        const bool alone = (c >= 0xD800 && c < 0xE000) || (c >= 0xD7A4 && c < 0xD800) || (c >= 0x10000 && c < 0x20000);
        const std::u16string text = c < 0x10000 ? std::u16string{static_cast<char16_t>(c)}
                                                : std::u16string{static_cast<char16_t>(0xD7C0 + (c >> 10)),
                                                                 static_cast<char16_t>(0xDC00 + (c & 0x3FF))};
        if (alone) {
            uint8_t bytes[4];
            ASSERT_LT(uni2char(text[0], bytes, 4), 1) << c;
            uni2char('x', bytes, 4);  // ends a pending half
        } else {
            ASSERT_EQ(encode(text), c == kInexpressible ? "" : icuEncode(text)) << std::hex << c;
        }
    }
}
#endif

TEST(Gb18030, KeepsHalvesOfACharacterBetweenCalls) {
    const auto *code = reinterpret_cast<const uint8_t *>("\x95\x32\x82\x36");
    uint32_t unit = 0;
    EXPECT_EQ(char2uni(code, 4, &unit), 2);
    EXPECT_EQ(unit, 0xD840u);
    EXPECT_EQ(char2uni(code + 2, 1, &unit), -1);  // takes the pending half away
    EXPECT_EQ(char2uni(code, 4, &unit), 2);
    EXPECT_EQ(char2uni(code, 4, &unit), 0);
    EXPECT_EQ(char2uni(code, 4, &unit), 2);
    EXPECT_EQ(owned(EncodeToUTF8("\x82\x36"
                                 "a")),
              "\xED\xB0\x80"
              "a");  // the half was still pending
    uint8_t out[4];
    EXPECT_EQ(uni2char(0xD840, out, 4), 0);
    EXPECT_EQ(uni2char(0xDC00, out, 3), -1);
    EXPECT_EQ(uni2char(0xDC00, out, 4), -1);
    EXPECT_EQ(uni2char(0xD840, out, 4), 0);
    EXPECT_EQ(owned(DecodeFromUTF8("\xED\xB0\x80")), "");  // three bytes of text leave no room for a four-byte code
    EXPECT_EQ(uni2char(0xD840, out, 4), 0);
    EXPECT_EQ(owned(DecodeFromUTF8("\xED\xB0\x80"
                                   "a")),
              "\x95\x32\x82\x36"
              "a");
    for (const uint32_t unmapped : {0xD800u, 0xDC00u, 0xD7A4u, 0x20000u, 0xD840DC00u}) {
        EXPECT_EQ(uni2char(unmapped, out, 4), -1) << unmapped;
    }
    EXPECT_EQ(uni2char(0x4E2D, out, 1), -1);
    EXPECT_EQ(uni2char(0xAC00, out, 3), -1);
}

TEST(Gb18030, ConvertsWholeTexts) {
    const std::pair<std::string, std::string> kRows[] = {
        {"\xD6\xD0\xCE\xC4 abcdefghij \xB2\xE2", "\xE4\xB8\xAD\xE6\x96\x87 abcdefghij \xE6\xB5\x8B"},
        {"", ""},
        {"plain ASCII text", "plain ASCII text"},
        {"\x81\x30\x81\x30xx", "\xC2\x80xx"}};
    for (const auto &[gb, utf8] : kRows) {
        EXPECT_EQ(owned(EncodeToUTF8(gb.c_str())), utf8);
        EXPECT_EQ(owned(DecodeFromUTF8(utf8.c_str())), gb);
        EXPECT_EQ(owned(UTIL_strConvToUTF8(gb.c_str())), utf8);
    }
    EXPECT_EQ(owned(UTIL_strConvToUTF8("\xE4\xB8\xAD\xE6\x96\x87")), "\xE4\xB8\xAD\xE6\x96\x87");
    EXPECT_EQ(owned(EncodeToUTF8("ab\xFFgh")), "ab");
    EXPECT_EQ(owned(EncodeToUTF8("ab\xD6")), "ab");
    EXPECT_EQ(owned(DecodeFromUTF8("a\xC3"
                                   "bc\x80"
                                   "d")),
              "abcd");
    EXPECT_EQ(owned(DecodeFromUTF8("ab\xF0\xA0\x80\x80"
                                   "cd")),
              "ab");  // a code point beyond U+FFFF is no unit
    for (const auto &[length, copy] : {std::pair{3, "abc"}, {99, "abcdef"}, {-1, "abcdef"}}) {
        EXPECT_EQ(owned(String_Copy("abcdef", length)), copy);
    }
}
}  // namespace
