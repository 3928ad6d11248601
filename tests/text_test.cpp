// Text helpers: copies, comparison, numbers, hexadecimal, MAC, PVC, URL, lists and paths.
#include "vos/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <syslog.h>

#include <cstring>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "support/syslog_catcher.h"
#include "vos/mem.h"

namespace {

using namespace std::string_literals;

std::string take(char *text) {
    std::string copy = text == nullptr ? "(null)" : text;
    VOS_FREE(text);
    return copy;
}

TEST(BoundedCopy, CutsAndFillsTheRest) {
    const std::pair<int32_t, std::string> kRows[] = {{4, "abc\0####"s}, {7, "abcdef\0#"s}, {8, "abcdef\0\0"s},
                                                     {1, "\0#######"s}, {0, "########"},   {-1, "########"}};
    for (const auto &[dlen, after] : kRows) {
        SCOPED_TRACE(dlen);
        char dest[] = "########";
        EXPECT_EQ(util_strncpy("f", 1, dest, "abcdef", dlen), dest);
        EXPECT_EQ((std::string{dest, 8}), after);
    }
    vostest::Diagnostics diagnostics;
    util_strncpy("caller", 12, nullptr, "a", 4);
    const auto line = diagnostics.take().at(0);
    EXPECT_EQ(line.priority, LOG_WARNING);
    EXPECT_THAT(line.body(), testing::MatchesRegex("caller:12:null pointer reference src =0x.*dest =.*, dlen = 4"));
}

TEST(BoundedCopy, AppendsWhatFits) {
    const std::tuple<const char *, const char *, int32_t, const char *, const char *> kRows[] = {
        {"ab", "cd", 8, "abcd", nullptr},
        {"ab", "cd", 5, "abcd", nullptr},
        {"ab", "cd", 4, "abc", "f:1:truncating:src string length > dest buffer"},
        {"abc", "d", 4, "abc", "f:1:truncating:src string length > dest buffer"},
        {"abcd", "e", 4, "abcd", "f:1:dlen < util_strlen(dest)"},
        {"ab", "", 3, "ab", nullptr}};
    for (const auto &[before, src, dlen, after, log] : kRows) {
        SCOPED_TRACE(testing::Message() << before << "+" << src << " in " << dlen);
        vostest::Diagnostics diagnostics;
        char dest[16] = {};
        strcpy(dest, before);
        EXPECT_EQ(util_strncat("f", 1, dest, src, dlen), dest);
        EXPECT_STREQ(dest, after);
        const auto logged = diagnostics.takeBodies();
        EXPECT_EQ(logged.empty() ? std::string{} : logged[0], log == nullptr ? "" : log);
    }
}

TEST(BoundedFormat, GivesTheUntruncatedLength) {
    char buf[6] = "#####";
    EXPECT_EQ(util_snprintf("f", 1, buf, sizeof buf, "%s", "abcdefgh"), 8);
    EXPECT_STREQ(buf, "abcde");
    EXPECT_EQ(util_snprintf("f", 1, nullptr, 4, "x"), 0);
    char *text = nullptr;
    EXPECT_EQ(util_sprintf_alloc("f", 1, &text, "%d-%s", 7, std::string(500, 'y').c_str()), 502);
    EXPECT_EQ(take(text), "7-" + std::string(500, 'y'));
    text = buf;
    EXPECT_EQ(util_sprintf_alloc("f", 1, &text, nullptr), 0);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(util_sprintf_alloc("f", 1, nullptr, "x"), 0);
}

TEST(Comparison, ReadsNullAsEmpty) {
    EXPECT_EQ(util_strlen(nullptr), 0U);
    EXPECT_EQ(util_strcmp(nullptr, ""), 0);
    EXPECT_LT(util_strcmp(nullptr, "a"), 0);
    EXPECT_GT(util_strcasecmp("B", nullptr), 0);
    EXPECT_EQ(util_strncmp("abX", "abY", 2), 0);
    EXPECT_EQ(util_strncasecmp("ABx", "aby", 2), 0);
    EXPECT_STREQ(util_strstr("hello", "ll"), "llo");
    EXPECT_STREQ(util_strcasestr("hello", "LL"), "llo");
    EXPECT_EQ(util_strstr(nullptr, "a"), nullptr);
    EXPECT_STREQ(util_strstr("a", nullptr), "a");
    const std::tuple<const char *, const char *, int32_t, int, int> kRows[] = {
        {nullptr, nullptr, 5, 0, 0},
        {nullptr, "", 5, -1, -1},
        {"", nullptr, 5, 1, 1},
        {"AbC", "aBc", 5, 0, 0},
        {"abc", "abcd", 3, -1, 0},
        {"abcd", "abc", 4, 1, 1},
        {"a\xC4", "a\xE4", 5, 0xC4 - 0xE4, 0xC4 - 0xE4},
        {"x", "a", 0, 'x' - 'a', 0},
        {"x", "a", -3, 'x' - 'a', 0}};
    for (const auto &[a, b, n, whole, limited] : kRows) {
        SCOPED_TRACE(testing::Message() << (a ? a : "NULL") << " " << (b ? b : "NULL"));
        EXPECT_EQ(safe_strcmpIgnoreCase(a, b), whole);
        EXPECT_EQ(safe_strncmpIgnoreCase(a, b, n), limited);
    }
}

TEST(Case, ConvertsInPlace) {
    char mixed[] = "aBz\xE4 1";
    util_strToUpper(mixed);
    EXPECT_STREQ(mixed, "ABZ\xE4 1");
    util_strToLower(mixed);
    EXPECT_STREQ(mixed, "abz\xE4 1");
    EXPECT_EQ(take(util_strDupLower("ABC")), "abc");
    std::string longText = "a" + std::string(300, 'b') + "z";
    UTIL_str2Upper(longText.data());
    EXPECT_EQ(longText, "a" + std::string(255, 'B') + std::string(45, 'b') + "z");
    UTIL_str2Upper(strcpy(mixed, "ayz"));
    EXPECT_STREQ(mixed, "aYz");
}

TEST(Trim, RemovesSixKindsOfWhiteSpace) {
    const auto trimmed = [](void (*trim)(char *), const char *text) {
        char buffer[32];
        strcpy(buffer, text);
        trim(buffer);
        return std::string{buffer};
    };
    for (const auto &[text, left, right, both] :
         {std::tuple{" \t\n\v\f\ra b \r\n", "a b \r\n", " \t\n\v\f\ra b", "a b"},
          {"", "", "", ""},
          {" \n ", "", "", ""},
          {"x", "x", "x", "x"}}) {
        EXPECT_EQ(trimmed(util_strTrimL, text), left);
        EXPECT_EQ(trimmed(util_strTrimR, text), right);
        EXPECT_EQ(trimmed(util_strTrim, text), both);
    }
}

// What a parser made of a text, which must be 0 where it refuses.
template <typename Result>
std::optional<Result> parse(VosRet (*parser)(const char *, char **, int32_t, Result *), const char *text, int32_t base,
                            ptrdiff_t end) {
    Result result = 77;
    char *stopped = nullptr;
    const VosRet ret = parser(text, &stopped, base, &result);
    EXPECT_EQ(stopped - text, end);
    EXPECT_TRUE(ret == VOS_RET_OK || (ret == VOS_RET_BAD_ARG && result == 0)) << ret;
    return ret == VOS_RET_OK ? std::optional{result} : std::nullopt;
}

template <typename Narrow, typename Wide>
std::optional<Narrow> thatFits(std::optional<Wide> value) {
    return value && std::in_range<Narrow>(*value) ? std::optional{static_cast<Narrow>(*value)} : std::nullopt;
}

TEST(Numbers, TakeTheWholeTextAndWhatTheResultHolds) {
    using S = std::optional<int64_t>;
    using U = std::optional<uint64_t>;
    struct Case {
        const char *text;
        int32_t base;
        S whole;  // nothing: no number
        U positive;
        ptrdiff_t end;
        ptrdiff_t minusAt = -1;  // where the unsigned form stops
    };
    for (const Case &c :
         {Case{"", 10, 0, 0, 0}, Case{" 42", 10, 42, 42, 3}, Case{"-1", 10, -1, {}, 2, 0},
          Case{" \t-1", 10, -1, {}, 4, 2}, Case{"+7", 10, 7, 7, 2}, Case{"12a", 10, {}, {}, 2},
          Case{"12 ", 10, {}, {}, 2}, Case{"abc", 10, {}, {}, 0}, Case{"ff", 16, 255, 255, 2},
          Case{"0x1F", 0, 31, 31, 4}, Case{"2147483647", 10, INT32_MAX, INT32_MAX, 10},
          Case{"2147483648", 10, 2147483648, 2147483648, 10}, Case{"-2147483648", 10, INT32_MIN, {}, 11, 0},
          Case{"-2147483649", 10, -2147483649, {}, 11, 0}, Case{"4294967295", 10, UINT32_MAX, UINT32_MAX, 10},
          Case{"4294967296", 10, 4294967296, 4294967296, 10}, Case{"18446744073709551615", 10, {}, UINT64_MAX, 20},
          Case{"99999999999999999999", 10, {}, {}, 20}}) {
        SCOPED_TRACE(c.text);
        const ptrdiff_t end = c.minusAt < 0 ? c.end : c.minusAt;
        for (const auto &parser : {util_strtol, oal_strtol}) {
            EXPECT_EQ(parse(parser, c.text, c.base, c.end), thatFits<int32_t>(c.whole));
        }
        for (const auto &parser : {util_strtoul, oal_strtoul}) {
            EXPECT_EQ(parse(parser, c.text, c.base, end), thatFits<uint32_t>(c.positive));
        }
        EXPECT_EQ(parse(util_strtol64, c.text, c.base, c.end), c.whole);
        EXPECT_EQ(parse(util_strtoul64, c.text, c.base, end), c.positive);
    }
}

TEST(Numbers, ChecksByRange) {
    for (const auto &[text, isPort, isInt] : {std::tuple{"", true, true},
                                              {"0", true, true},
                                              {"65535", true, true},
                                              {"65536", false, true},
                                              {"4294967376", false, true},
                                              {"-1", false, false},
                                              {"+1", true, false}}) {
        EXPECT_EQ(util_isValidPortNumber(text), isPort) << text;
        EXPECT_EQ(util_strIsInt(text) == 1, isInt) << text;
    }
}

TEST(Hexadecimal, ConvertsPairsUntilTheBufferIsFull) {
    uint8_t out[4] = {9, 9, 9, 9};
    for (const auto &[text, size, ret, wanted] : {std::tuple{"0aFF", 1U, 0, "\x0A\x09\x09\x09"},
                                                  {"0aFF", 4, 0, "\x0A\xFF\x09\x09"},
                                                  {"abc", 4, -1, "\x0A\xFF\x09\x09"},
                                                  {"1g", 4, 0, "\xFF\xFF\x09\x09"}}) {  // a wrong digit counts as -1
        EXPECT_EQ(uitl_strToHex(text, out, size), ret);
        EXPECT_EQ(std::string(out, out + 4), wanted);
    }
    for (const auto &[digit, value] :
         {std::pair{'0', 0}, {'9', 9}, {'A', 10}, {'F', 15}, {'a', 10}, {'f', 15}, {'/', -1}, {'@', -1}, {'g', -1}}) {
        EXPECT_EQ(uitl_charToHex(digit), value) << digit;
    }
}

TEST(XmlCharacters, AreReplacedAndNeverWrittenPastTheBuffer) {
    char out[64];
    EXPECT_EQ(util_xmlSpecialCharConvert("a&\"><'b", out, sizeof out), 0);
    EXPECT_STREQ(out, "a&amp;&quot;&gt;&lt;&apos;b");
    for (uint32_t n = 1; n < 12; n++) {
        memset(out, '#', sizeof out);
        EXPECT_EQ(util_xmlSpecialCharConvert("a&&b", out, n), 0);
        EXPECT_EQ(out[n], '#');
        EXPECT_EQ(std::string{out}, std::string{"a&amp;&amp;b"}.substr(0, n - 1));
    }
    EXPECT_EQ(util_xmlSpecialCharConvert("x", out, 0), 0);
}

TEST(Pvc, ReadsAndWritesDesignators) {
    const std::string longText = std::string(252, 'x') + "PVC:8/35";
    const std::tuple<const char *, VosRet, int32_t, int32_t> kRows[] = {
        {"PVC:8/35", VOS_RET_OK, 8, 35},
        {"PVC: 8/35", VOS_RET_OK, 8, 35},
        {"PVC:8-35", VOS_RET_BAD_ARG, -1, -1},
        {"SVC:8/35", VOS_RET_BAD_VALUE, -1, -1},
        {"8/35", VOS_RET_BAD_VALUE, -1, -1},
        {"PVC:256/35", VOS_RET_BAD_VALUE, 256, 35},
        {"PVC:4294967304/35", VOS_RET_BAD_VALUE, INT32_MAX, 35},
        {"PVC:-1/35", VOS_RET_OK, -1, 35},
        {"PVC:0/31", VOS_RET_BAD_VALUE, 0, 31},
        {"PVC:0/32", VOS_RET_OK, 0, 32},
        {"PVC:255/65535", VOS_RET_OK, 255, 65535},
        {longText.c_str(), VOS_RET_BAD_VALUE, -1, -1}};
    for (const auto &[text, ret, wantedVpi, wantedVci] : kRows) {
        SCOPED_TRACE(text);
        int32_t vpi = 7, vci = 7;
        EXPECT_EQ(util_atmVpiVciStrToNum(text, &vpi, &vci), ret);
        EXPECT_EQ(vpi, wantedVpi);
        EXPECT_EQ(vci, wantedVci);
    }
    char buf[16];
    EXPECT_EQ(util_atmVpiVciNumToStr(0, 35, buf, sizeof buf), VOS_RET_OK);
    EXPECT_STREQ(buf, "PVC: 0/35");
    vostest::Diagnostics diagnostics;
    EXPECT_EQ(util_atmVpiVciNumToStr(256, 35, buf, sizeof buf), VOS_RET_BAD_VALUE);
    EXPECT_EQ(diagnostics.takeBodies(), std::vector<std::string>{"invalid vpi/vci 256/35"});
}

TEST(Mac, ValidatesMoreThanItConverts) {
    const std::tuple<const char *, bool, const char *> kRows[] = {
        {"00:1a:2B:3c:4D:5e", true, "00:1a:2b:3c:4d:5e"},
        {"01-1a-2b-3c-4d-5e", true, "01:00:00:00:00:00"},  // the separators differ, as callers know
        {"00:1a:2b:3c:4d:5", false, nullptr},
        {"00:1a-2b:3c:4d:5e", false, nullptr},
        {"0:01a:2b:3c:4d:5e", false, nullptr},
        {"00:1a:2b:3c:4d:5g", false, nullptr},
        {"+1:+1:+1:+1:+1:+1", false, nullptr},
        {"", false, nullptr}};
    for (const auto &[given, valid, converted] : kRows) {
        SCOPED_TRACE(given);
        uint8_t mac[6];
        char text[18];
        EXPECT_EQ(util_isValidMacAddress(given), valid);
        ASSERT_EQ(util_macStrToNum(given, mac), valid ? VOS_RET_OK : VOS_RET_BAD_VALUE);
        if (valid) {
            EXPECT_EQ(util_macNumToStr(mac, text, sizeof text), VOS_RET_OK);
            EXPECT_STREQ(text, converted);
        }
    }
    uint8_t mac[6] = {0, 0, 0, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(util_increaseMacValue(mac, 0x01000002), VOS_RET_OK);
    EXPECT_EQ((std::vector<uint8_t>{mac, mac + 6}), (std::vector<uint8_t>{0, 0, 0, 0, 0, 1}));
}

TEST(Url, IsTakenApart) {
    const std::string h1023(1023, 'h');
    uint32_t proto = 9;
    uint16_t port = 9;
    char *host = nullptr, *path = nullptr, stale[1];
    const std::tuple<std::string, uint32_t, std::string, uint16_t, const char *> kRows[] = {
        {"http://[fe80::1]:8080/a/b", UTIL_URL_HTTP, "fe80::1", 8080, "/a/b"},
        {"tftp://host", UTIL_URL_TFTP, "host", 0, "/"},
        {"https://h:65537/?q=a:b", UTIL_URL_HTTPS, "h", 1, "/?q=a:b"},
        {"ftp://h:21junk/x", UTIL_URL_FTP, "h", 21, "/"},
        {"http://[::1]junk", UTIL_URL_HTTP, "::1", 0, "/"},
        {"http://h:123456789012345/", UTIL_URL_HTTP, "h", static_cast<uint16_t>(123456789012345ULL), "/"},
        {"http://" + h1023, UTIL_URL_HTTP, h1023, 0, "/"}};
    for (const auto &[url, wantedProto, wantedHost, wantedPort, wantedPath] : kRows) {
        SCOPED_TRACE(url);
        ASSERT_EQ(util_parseUrl(url.c_str(), &proto, &host, &port, &path), VOS_RET_OK);
        EXPECT_EQ(proto, wantedProto);
        EXPECT_EQ(take(host), wantedHost);
        EXPECT_EQ(port, wantedPort);
        EXPECT_EQ(take(path), wantedPath);
    }
    for (const std::string &refused :
         {"http://h:"s, "http://"s, "http://[]/"s, "http://[::1/"s, "http:/h"s, "http"s, "gopher://h"s,
          "sixteenletters16://h"s, "http://h:1234567890123456/"s, "http://" + h1023 + "h", "http://h/" + h1023}) {
        SCOPED_TRACE(refused);
        host = path = stale;
        EXPECT_EQ(util_parseUrl(refused.c_str(), &proto, &host, &port, &path), VOS_RET_BAD_ARG);
        EXPECT_EQ(host, nullptr);
        EXPECT_EQ(path, nullptr);
    }
    EXPECT_EXIT(util_parseUrl("seventeenletters17://h", &proto, &host, &port, &path), testing::KilledBySignal(SIGABRT),
                "");
}

TEST(Lists, FindWholeItems) {
    const std::tuple<const char *, const char *, bool> kRows[] = {
        {"a, bb ,c", "bb", true}, {"a, bb ,c", "c", true}, {"abc", "ab", false},
        {"abc", "abcd", false},   {"A", "a", false},       {"", "a", false},
        {" ,x", "x", true},       {nullptr, "a", false},   {"a", nullptr, false}};
    for (const auto &[list, item, found] : kRows) {
        SCOPED_TRACE(testing::Message() << (list ? list : "NULL") << " / " << (item ? item : "NULL"));
        EXPECT_EQ(util_isSubOptionPresent(list, item), found);
    }
    vostest::Diagnostics diagnostics;
    EXPECT_EQ(util_pppAuthToNum("MS-CHAP"), 3U);
    EXPECT_EQ(util_pppAuthToNum("chap"), 0U);
    EXPECT_EQ(util_pppAuthToNum(nullptr), 0U);
    EXPECT_EQ(diagnostics.takeBodies(),
              (std::vector<std::string>{"authNum = 3", "unsupported auth string chap, default to auto=0", "authNum = 0",
                                        "unsupported auth string , default to auto=0", "authNum = 0"}));
}

TEST(Paths, BeginAtTheRoot) {
    char buf[16] = "####";
    EXPECT_EQ(util_getRunTimeRootDir(buf, 2), VOS_RET_OK);
    EXPECT_STREQ(buf, "/");
    EXPECT_EQ(util_getRunTimePath("/etc/passwd", buf, 12), VOS_RET_OK);
    EXPECT_STREQ(buf, "/etc/passwd");
    vostest::Diagnostics diagnostics;
    EXPECT_EQ(util_getRunTimeRootDir(buf, 1), VOS_RET_NO_RESOURCE);
    EXPECT_EQ(util_getRunTimePath("/etc/passwd", buf, 11), VOS_RET_NO_RESOURCE);
    EXPECT_EQ(util_getRunTimePath("/etc", buf, 0), VOS_RET_NO_RESOURCE);
    EXPECT_EQ(diagnostics.takeBodies(), (std::vector<std::string>{"pathBufLen 1 is too small for buf ",
                                                                  "pathBufLen 11 is too small for target /etc/passwd",
                                                                  "pathBufLen 0 is too small for buf "}));
    EXPECT_EQ(util_getBaseDir(buf), VOS_RET_OK);
    EXPECT_STREQ(buf, "");
}

}  // namespace
