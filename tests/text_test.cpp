// Text helpers: copies, comparison, numbers, hexadecimal, MAC, PVC, URL, lists and paths.
#include "vos/text.h"

#include <gtest/gtest.h>

#include <syslog.h>

#include <climits>
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
    struct Case {
        int32_t dlen;
        std::string after;
    };
    for (const Case &c : {Case{4, std::string{"abc\0####", 8}}, Case{7, std::string{"abcdef\0#", 8}},
                          Case{8, std::string{"abcdef\0\0", 8}}, Case{1, std::string{"\0#######", 8}},
                          Case{0, "########"}, Case{-1, "########"}}) {
        SCOPED_TRACE(c.dlen);
        char dest[] = "########";
        EXPECT_EQ(util_strncpy("f", 1, dest, "abcdef", c.dlen), dest);
        EXPECT_EQ((std::string{dest, 8}), c.after);
    }
    vostest::Diagnostics diagnostics;
    char dest[4] = "x";
    util_strncpy("caller", 12, dest, "a", 0);
    util_strncpy("caller", 12, nullptr, "a", 4);
    const auto lines = diagnostics.take();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].priority, LOG_WARNING);
    EXPECT_TRUE(lines[0].body().starts_with("caller:12:null pointer reference src =0x"));
    char none[16];
    snprintf(none, sizeof none, "%p", static_cast<void *>(nullptr));
    EXPECT_TRUE(lines[1].body().ends_with(std::string{"dest ="} + none + ", dlen = 4"));
}

TEST(BoundedCopy, AppendsWhatFits) {
    struct Case {
        const char *before;
        const char *src;
        int32_t dlen;
        const char *after;
        const char *log;
    };
    for (const Case &c :
         {Case{"ab", "cd", 8, "abcd", nullptr}, Case{"ab", "cd", 5, "abcd", nullptr},
          Case{"ab", "cd", 4, "abc", "f:1:truncating:src string length > dest buffer"},
          Case{"abc", "d", 4, "abc", "f:1:truncating:src string length > dest buffer"},
          Case{"abcd", "e", 4, "abcd", "f:1:dlen < util_strlen(dest)"}, Case{"ab", "", 3, "ab", nullptr}}) {
        SCOPED_TRACE(testing::Message() << c.before << "+" << c.src << " in " << c.dlen);
        vostest::Diagnostics diagnostics;
        char dest[16] = {};
        strcpy(dest, c.before);
        EXPECT_EQ(util_strncat("f", 1, dest, c.src, c.dlen), dest);
        EXPECT_STREQ(dest, c.after);
        const auto logged = diagnostics.takeBodies();
        EXPECT_EQ(logged.empty() ? std::string{} : logged[0], c.log == nullptr ? "" : c.log);
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
    struct Case {
        const char *a;
        const char *b;
        int32_t n;
        int whole;
        int limited;
    };
    for (const Case &c : {Case{nullptr, nullptr, 5, 0, 0}, Case{nullptr, "", 5, -1, -1}, Case{"", nullptr, 5, 1, 1},
                          Case{"AbC", "aBc", 5, 0, 0}, Case{"abc", "abcd", 3, -1, 0}, Case{"abcd", "abc", 4, 1, 1},
                          Case{"a\xC4", "a\xE4", 5, 0xC4 - 0xE4, 0xC4 - 0xE4}, Case{"x", "a", 0, 'x' - 'a', 0},
                          Case{"x", "a", -3, 'x' - 'a', 0}}) {
        SCOPED_TRACE(testing::Message() << (c.a ? c.a : "NULL") << " " << (c.b ? c.b : "NULL"));
        EXPECT_EQ(safe_strcmpIgnoreCase(c.a, c.b), c.whole);
        EXPECT_EQ(safe_strncmpIgnoreCase(c.a, c.b, c.n), c.limited);
    }
}

TEST(Case, ConvertsInPlace) {
    char mixed[] = "aBz\xE4 1";
    util_strToUpper(mixed);
    EXPECT_STREQ(mixed, "ABZ\xE4 1");
    util_strToLower(mixed);
    EXPECT_STREQ(mixed, "abz\xE4 1");
    EXPECT_EQ(take(util_strDupLower("ABC")), "abc");
    char odd[] = "abyz";
    UTIL_str2Upper(odd);
    EXPECT_STREQ(odd, "aBYz");
    std::string longText(300, 'b');
    UTIL_str2Upper(longText.data());
    EXPECT_EQ(longText, std::string(256, 'B') + std::string(44, 'b'));
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
                                              {"+1", true, false},
                                              {static_cast<const char *>(nullptr), false, false}}) {
        EXPECT_EQ(util_isValidPortNumber(text), isPort) << text;
        EXPECT_EQ(util_strIsInt(text) == 1, isInt) << text;
    }
}

TEST(Hexadecimal, ConvertsPairsUntilTheBufferIsFull) {
    uint8_t out[4] = {9, 9, 9, 9};
    EXPECT_EQ(uitl_strToHex("0aFF", out, 1), 0);
    EXPECT_EQ(out[0], 0x0A);
    EXPECT_EQ(out[1], 9);
    EXPECT_EQ(uitl_strToHex("0aFF", out, 4), 0);
    EXPECT_EQ(out[1], 0xFF);
    EXPECT_EQ(out[2], 9);
    EXPECT_EQ(uitl_strToHex("abc", out, 4), -1);
    EXPECT_EQ(uitl_strToHex("1g", out, 4), 0);
    EXPECT_EQ(out[0], 0xFF) << "a wrong digit counts as -1";
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
    struct Case {
        const char *text;
        VosRet ret;
        int32_t vpi;
        int32_t vci;
    };
    const std::string longText = std::string(252, 'x') + "PVC:8/35";
    for (const Case &c : {Case{"PVC:8/35", VOS_RET_OK, 8, 35}, Case{"PVC: 8/35", VOS_RET_OK, 8, 35},
                          Case{"PVC:8-35", VOS_RET_BAD_ARG, -1, -1}, Case{"SVC:8/35", VOS_RET_BAD_VALUE, -1, -1},
                          Case{"8/35", VOS_RET_BAD_VALUE, -1, -1}, Case{"PVC:256/35", VOS_RET_BAD_VALUE, 256, 35},
                          Case{"PVC:4294967304/35", VOS_RET_BAD_VALUE, INT32_MAX, 35},
                          Case{"PVC:-1/35", VOS_RET_OK, -1, 35}, Case{"PVC:0/31", VOS_RET_BAD_VALUE, 0, 31},
                          Case{"PVC:0/32", VOS_RET_OK, 0, 32}, Case{"PVC:255/65535", VOS_RET_OK, 255, 65535},
                          Case{nullptr, VOS_RET_BAD_ARG, -1, -1}, Case{longText.c_str(), VOS_RET_BAD_VALUE, -1, -1}}) {
        SCOPED_TRACE(c.text == nullptr ? "NULL" : c.text);
        int32_t vpi = 7;
        int32_t vci = 7;
        EXPECT_EQ(util_atmVpiVciStrToNum(c.text, &vpi, &vci), c.ret);
        EXPECT_EQ(vpi, c.vpi);
        EXPECT_EQ(vci, c.vci);
    }
    char buf[16];
    EXPECT_EQ(util_atmVpiVciNumToStr(0, 35, buf, sizeof buf), VOS_RET_OK);
    EXPECT_STREQ(buf, "PVC: 0/35");
    vostest::Diagnostics diagnostics;
    EXPECT_EQ(util_atmVpiVciNumToStr(256, 35, buf, sizeof buf), VOS_RET_BAD_VALUE);
    EXPECT_EQ(util_atmVpiVciNumToStr(0, 35, nullptr, 0), VOS_RET_BAD_ARG);
    EXPECT_EQ(diagnostics.takeBodies(), (std::vector<std::string>{"invalid vpi/vci 256/35", "vpiVciStr is NULL"}));
}

TEST(Mac, ValidatesMoreThanItConverts) {
    struct Case {
        const char *text;
        bool valid;
        const char *converted;
    };
    for (const Case &c :
         {Case{"00:1a:2B:3c:4D:5e", true, "00:1a:2b:3c:4d:5e"},
          Case{"01-1a-2b-3c-4d-5e", true, "01:00:00:00:00:00"},  // the separators differ, as callers know
          Case{"00:1a:2b:3c:4d:5", false, nullptr}, Case{"00:1a-2b:3c:4d:5e", false, nullptr},
          Case{"0:01a:2b:3c:4d:5e", false, nullptr}, Case{"00:1a:2b:3c:4d:5g", false, nullptr},
          Case{"+1:+1:+1:+1:+1:+1", false, nullptr}, Case{"", false, nullptr}}) {
        SCOPED_TRACE(c.text);
        uint8_t mac[6];
        char text[18];
        EXPECT_EQ(util_isValidMacAddress(c.text), c.valid);
        ASSERT_EQ(util_macStrToNum(c.text, mac), c.valid ? VOS_RET_OK : VOS_RET_BAD_VALUE);
        if (c.valid) {
            EXPECT_EQ(util_macNumToStr(mac, text, sizeof text), VOS_RET_OK);
            EXPECT_STREQ(text, c.converted);
        }
    }
    uint8_t mac[6] = {0, 0, 0, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(util_increaseMacValue(mac, 0x01000002), VOS_RET_OK);
    EXPECT_EQ((std::vector<uint8_t>{mac, mac + 6}), (std::vector<uint8_t>{0, 0, 0, 0, 0, 1}));
}

TEST(Url, IsTakenApart) {
    struct Case {
        std::string url;
        uint32_t proto;
        std::string host;
        uint16_t port;
        const char *path;
    };
    const std::string h1023(1023, 'h');
    uint32_t proto = 9;
    uint16_t port = 9;
    char *host = nullptr;
    char *path = nullptr;
    char stale[1];
    for (const Case &c :
         {Case{"http://[fe80::1]:8080/a/b", UTIL_URL_HTTP, "fe80::1", 8080, "/a/b"},
          Case{"tftp://host", UTIL_URL_TFTP, "host", 0, "/"},
          Case{"https://h:65537/?q=a:b", UTIL_URL_HTTPS, "h", 1, "/?q=a:b"},
          Case{"ftp://h:21junk/x", UTIL_URL_FTP, "h", 21, "/"}, Case{"http://[::1]junk", UTIL_URL_HTTP, "::1", 0, "/"},
          Case{"http://h:123456789012345/", UTIL_URL_HTTP, "h", static_cast<uint16_t>(123456789012345ULL), "/"},
          Case{"http://" + h1023, UTIL_URL_HTTP, h1023, 0, "/"}}) {
        SCOPED_TRACE(c.url);
        ASSERT_EQ(util_parseUrl(c.url.c_str(), &proto, &host, &port, &path), VOS_RET_OK);
        EXPECT_EQ(proto, c.proto);
        EXPECT_EQ(take(host), c.host);
        EXPECT_EQ(port, c.port);
        EXPECT_EQ(take(path), c.path);
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
    struct Case {
        const char *list;
        const char *item;
        bool found;
    };
    for (const Case &c : {Case{"a, bb ,c", "bb", true}, Case{"a, bb ,c", "c", true}, Case{"abc", "ab", false},
                          Case{"abc", "abcd", false}, Case{"A", "a", false}, Case{"", "a", false},
                          Case{" ,x", "x", true}, Case{nullptr, "a", false}, Case{"a", nullptr, false}}) {
        SCOPED_TRACE(testing::Message() << (c.list ? c.list : "NULL") << " / " << (c.item ? c.item : "NULL"));
        EXPECT_EQ(util_isSubOptionPresent(c.list, c.item), c.found);
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
    EXPECT_EQ(util_getRunTimePath(nullptr, buf, 4), VOS_RET_BAD_ARG);
}

}  // namespace
