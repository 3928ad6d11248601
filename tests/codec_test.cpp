// Base64 and CRC-32 against OpenSSL and zlib; hexadecimal text and XML entities by their tables.
#include "vos/codec.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#ifdef VOS_TEST_HAS_ZLIB
#include <zlib.h>
#endif

#include <cstring>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/shell.h"
#include "util/codec/crc32_paths.h"
#include "vos/mem.h"

namespace {

using namespace std::string_literals;
using Bytes = std::vector<uint8_t>;

std::string take(void *buffer, size_t size) {
    std::string bytes{static_cast<const char *>(buffer), size};
    VOS_FREE(buffer);
    return bytes;
}
std::string takeText(char *text) {
    return take(text, strlen(text));
}

const uint8_t *raw(const std::string &bytes) {
    return reinterpret_cast<const uint8_t *>(bytes.data());
}
uint32_t size32(const std::string &bytes) {
    return static_cast<uint32_t>(bytes.size());
}

std::string everyByte(size_t size) {
    std::string bytes(size, '\0');
    std::iota(bytes.begin(), bytes.end(), '\x55');
    return bytes;
}

std::string opensslEncode(const std::string &bytes) {
    std::string text(bytes.size() / 3 * 4 + 5, '\0');
    text.resize(static_cast<size_t>(
        EVP_EncodeBlock(reinterpret_cast<uint8_t *>(text.data()), raw(bytes), static_cast<int>(bytes.size()))));
    return text;
}

std::string decodePlain(const std::string &text) {
    uint32_t length = 99;
    uint8_t *bytes = UTILs_base64Decode(text.c_str(), &length);
    EXPECT_EQ(bytes[length], 0);
    return take(bytes, length);
}

std::optional<std::string> decodeTolerant(const std::string &text) {
    uint8_t *bytes = nullptr;
    uint32_t length = 99;
    const VosRet ret = utilB64_decode(text.c_str(), &bytes, &length);
    EXPECT_EQ(ret, bytes != nullptr ? VOS_RET_OK : VOS_RET_ERROR);
    EXPECT_TRUE(bytes != nullptr || length == 0);
    return bytes != nullptr ? std::optional{take(bytes, length)} : std::nullopt;
}

TEST(Base64, AgreesWithOpensslAtEveryLength) {
    for (size_t size = 0; size < 300; size++) {
        SCOPED_TRACE(size);
        const std::string data = everyByte(size);
        const std::string text = opensslEncode(data);
        EXPECT_EQ(takeText(UTIL_base64Encode(raw(data), size32(data))), text);
        EXPECT_EQ(decodePlain(text), data);
        EXPECT_EQ(decodeTolerant(text), data);
        char *tolerant = nullptr;
        ASSERT_EQ(utilB64_encode(raw(data), size32(data), &tolerant), size > 0 ? VOS_RET_OK : VOS_RET_BAD_ARG);
        EXPECT_EQ(size > 0 ? takeText(tolerant) : "", text);
    }
}

TEST(Base64, KnowsEveryCharacterAtEveryPlace) {
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::string text = alphabet + alphabet;
    for (size_t place = 0; place < text.size(); place++) {
        for (int c = 1; c < 256; c++) {
            SCOPED_TRACE(testing::Message() << "character " << c << " at " << place);
            std::string changed = text;
            changed[place] = static_cast<char>(c);
            if (alphabet.find(static_cast<char>(c)) != std::string::npos) {
                const std::string bytes = decodePlain(changed);
                ASSERT_EQ(takeText(UTIL_base64Encode(raw(bytes), size32(bytes))), changed);
                ASSERT_EQ(decodeTolerant(changed), bytes);
            } else if (c != '=') {
                ASSERT_EQ(decodePlain(changed), "");
                const auto shorter = text.substr(0, place) + text.substr(place + 1);
                ASSERT_EQ(decodeTolerant(changed), decodeTolerant(shorter)) << "skipped";
            }
        }
    }
}

TEST(Base64, PlainPaddingEndsItsGroupOnly) {
    for (const auto &[text, bytes] : {std::pair{"TQ==TWFu", "MMan"}, {"TWE=TWFu", "MaMan"}, {"TQ=uTWFu", "MMan"}}) {
        EXPECT_EQ(decodePlain(text), bytes) << text;
    }
    for (const char *refused : {"TWF", "TWFuT", "T===", "=Q==", "TWFu TWFu", "TW=\xC1", "TQ="}) {
        EXPECT_EQ(decodePlain(refused), "") << refused;
    }
}

TEST(Base64, TolerantDecodingSkipsForeignCharactersAndLacksPadding) {
    constexpr std::pair<const char *, const char *> kRows[] = {
        {"TW\r\nFu", "Man"}, {" T-Q ", "M"},    {"TQ", "M"},        {"TWE", "Ma"},  {"TQ=", "M"},
        {"TWFu=", "Man"},    {"TWFu==", "Man"}, {"TQ==\n=\n", "M"}, {"TWE=", "Ma"}, {"\xC1", ""}};
    for (const auto &[text, bytes] : kRows) {
        EXPECT_EQ(decodeTolerant(text), bytes) << text;
    }
    for (const char *refused : {"T", "TQ==TQ==", "TW=u", "T===", "T=", "TWFu====", "TWE=x", "TWFuT"}) {
        EXPECT_EQ(decodeTolerant(refused), std::nullopt) << refused;
    }
    // Lines of a mail body.
    const std::string data = everyByte(1000);
    std::string lines = opensslEncode(data);
    for (size_t at = 76; at < lines.size(); at += 78) {
        lines.insert(at, "\r\n");
    }
    EXPECT_EQ(decodeTolerant(lines), data);
}

TEST(Hex, WritesLowerCaseAndReadsWhatANumberMayLookLike) {
    const std::pair<std::string, std::optional<std::string>> kRows[] = {
        {"00ab", "\x00\xAB"s}, {"ABcd", "\xAB\xCD"},   {" 7+f", "\x07\x0F"}, {"", ""},
        {"0g", std::nullopt},  {"-1", std::nullopt},   {"0x", std::nullopt}, {"1 ", std::nullopt},
        {"00a", std::nullopt}, {"0\xFF", std::nullopt}};
    for (const auto &[text, wanted] : kRows) {
        SCOPED_TRACE(text);
        uint8_t stale = 0;
        uint8_t *bytes = &stale;
        uint32_t length = 0;
        const VosRet ret = util_hexStringToBinaryBuf(text.c_str(), &bytes, &length);
        EXPECT_EQ(ret, wanted ? VOS_RET_OK : VOS_RET_BAD_ARG);
        EXPECT_EQ(bytes != nullptr ? std::optional{take(bytes, length)} : std::nullopt, wanted);
    }
    const std::string data = everyByte(256);
    std::string expected;
    for (const char byte : data) {
        expected += {"0123456789abcdef"[static_cast<uint8_t>(byte) / 16], "0123456789abcdef"[byte & 15]};
    }
    char *hex = nullptr;
    ASSERT_EQ(util_binaryBufToHexString(raw(data), size32(data), &hex), VOS_RET_OK);
    EXPECT_EQ(takeText(hex), expected);
}

TEST(XmlEntities, EscapeFiveCharactersAndComeBack) {
    const auto convert = [](auto function, const std::string &in) {
        char *out = nullptr;
        EXPECT_EQ(function(in.c_str(), &out), VOS_RET_OK);
        return takeText(out);
    };
    const std::string plain = "<a b=\"50%\">'&'</a>";
    const std::string escaped = "&lt;a b=&quot;50&#37;&quot;&gt;'&amp;'&lt;/a&gt;";
    EXPECT_EQ(convert(utilXml_escapeString, plain), escaped);
    EXPECT_EQ(convert(utilXml_unescapeString, escaped), plain);
    for (const auto &[in, out] : {std::pair{"&amp;lt;", "&lt;"}, {"&&lt;&", "&<&"}, {"&#38;&#37;&#", "&#38;%&#"}}) {
        EXPECT_EQ(convert(utilXml_unescapeString, in), out) << in;
    }
    for (const char *same : {"&apos;", "&lt", "&quot", "&LT;", ""}) {
        EXPECT_EQ(convert(utilXml_unescapeString, same), same);
    }
}

// The polynomial bit by bit, for targets without zlib.
uint32_t plainCrc32(uint32_t crc, const uint8_t *data, size_t size) {
    for (size_t bit = 0; bit < 8 * size; bit++) {
        crc ^= bit % 8 == 0 ? data[bit / 8] : 0U;
        crc = (crc >> 1) ^ (crc % 2 * 0xEDB88320U);
    }
    return crc;
}

TEST(Crc32, RunsTheSameRegisterOnEveryPath) {
    EXPECT_EQ(~utilCrc_getCrc32(raw("123456789"), 9, 0xFFFFFFFF), 0xCBF43926);
    const std::string data = everyByte(700);
    for (size_t size = 0; size < 600; size++) {
        const uint8_t *start = raw(data) + size % 17;
        const uint32_t before = 0x9E3779B9U * static_cast<uint32_t>(size);
        const uint32_t expected = plainCrc32(before, start, size);
#ifdef VOS_TEST_HAS_ZLIB
        ASSERT_EQ(~static_cast<uint32_t>(crc32(~before, start, static_cast<uInt>(size))), expected) << size;
#endif
        ASSERT_EQ(utilCrc_getCrc32(start, static_cast<uint32_t>(size), before), expected) << size;
        ASSERT_EQ(vos::crc32::withTables(start, size, before), expected) << size;
    }
    const uint8_t zero = 0;
    for (uint32_t value = 0; value < 256; value++) {
        ASSERT_EQ(local_crc32_table[value], plainCrc32(value, &zero, 1));
    }
}

#ifdef VOS_TEST_HAS_VOSCTL
// Longer than the tool's pieces, so that groups, entities and digits are cut at their ends.
TEST(CodecTool, StreamsAcrossPieces) {
    const vostest::TempDir directory;
    const std::string plain = directory / "plain";
    const std::string result = directory / "result";
    std::string text;
    for (int line = 0; text.size() < 200000; line++) {
        text += "<" + std::to_string(line) + "> & \"50%\"\n";
    }
    vostest::writeText(plain, text);
    const std::string codec = "'" VOS_TEST_BIN_DIR "/vosctl' codec ";
    for (const std::string &command : {
             codec + "b64 " + plain + " | base64 -d",
             "base64 " + plain + " | tr '\\n' - | " + codec + "b64 -d",
             codec + "hex " + plain + " | sed 's/............./& /g' | " + codec + "hex -d -",
             codec + "xml < " + plain + " | " + codec + "xml -d",
             codec + "lzw " + plain + " | " + codec + "lzw -d",
         }) {
        EXPECT_EQ(system((command + " > " + result).c_str()), 0) << command;
        EXPECT_TRUE(vostest::readText(result) == text) << command;
    }
    for (const auto &[damaged, why] : {
             std::pair{"echo TQ==TQ== | " + codec + "b64 -d", "-: not base64"},
             {codec + "lzw " + plain + " | head -c 1000 | " + codec + "lzw -d", "-: the stream ends early"},
             {codec + "lzw " + plain + " | tr '<' '\\377' | " + codec + "lzw -d", "-: the stream is damaged"},
             {codec + "lzw -d < /dev/null", "-: the stream ends early"},
         }) {
        const vostest::Outcome outcome = vostest::shell(damaged);
        EXPECT_EQ(outcome.status, 1) << damaged;
        EXPECT_EQ(outcome.err, "vosctl: "s + why + "\n");
    }
}
#endif

}  // namespace
