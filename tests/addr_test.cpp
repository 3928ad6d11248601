// IP addresses as text: what counts as valid, prefixes and DNS server lists, oddities included.
#include "vos/addr.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cstring>
#include <tuple>

#include "support/syslog_catcher.h"

namespace {

TEST(Ipv4Text, IsFourNumbersBetweenRunsOfDots) {
    constexpr std::tuple<const char *, bool, bool> kRows[] = {
        // whether it is valid, whether the first four numbers are there
        {"1.2.3.4", true, true},     {"255.255.255.255", true, true},    {"1.2.3", false, false},
        {"1.2.3.256", false, false}, {"1..2.3.4", true, true},           {".1.2.3.4.", true, true},
        {"1.2.3.4.5", false, true},  {"255.255.255.2550", false, false}, {"1.2.3.-4", false, false},
        {" 1.+2.3.4", true, true},   {"1.2.3.4 ", false, false},         {".......", false, false},
    };
    for (const auto &[text, valid, hasOctets] : kRows) {
        SCOPED_TRACE(text);
        uint8_t octets[4] = {};
        EXPECT_EQ(util_isValidIpv4Address(text), valid);
        EXPECT_EQ(util_isValidIpAddress(AF_INET, text), valid);
        EXPECT_EQ(util_ipStrToOctets(text, octets), hasOctets);
    }
    uint8_t octets[4] = {};
    ASSERT_TRUE(util_ipStrToOctets("1.2.3.4.5", octets));
    EXPECT_EQ(memcmp(octets, "\1\2\3\4", 4), 0);
    vostest::Diagnostics log;
    EXPECT_FALSE(util_ipStrToOctets("10.20.30", octets));
    EXPECT_EQ(log.takeBodies(), std::vector<std::string>{"str is NULL and is invaild"});
}

TEST(Ipv6Text, MayCarryAPrefixLength) {
    const std::string longest = "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff";
    const std::pair<std::string, bool> kRows[] = {
        {"2001:db8::/32", true},
        {"::1", true},
        {"2001:db8::/ 128", true},
        {"2001:db8::/129", false},
        {"2001:db8::/-1", false},
        {"2001:db8:::", false},
        {longest, true},
        {longest + "0", false},
        {"", false},
    };
    for (const auto &[text, valid] : kRows) {
        EXPECT_EQ(util_isValidIpAddress(AF_INET6, text.c_str()), valid) << text;
    }
    EXPECT_FALSE(util_isValidIpAddress(AF_UNIX, "::1"));
    for (const auto &[text, wide] : std::initializer_list<std::pair<const char *, bool>>{
             {"2001:db8::1", true}, {"fd00::1/64", true}, {"3fff::", true}, {"fe80::1", false}, {"x", false}}) {
        EXPECT_EQ(util_isGUAorULA(text), wide) << text;
    }
}

TEST(PrefixAddress, IsSplitAtTheSlash) {
    char addr[8] = "before";
    uint32_t plen = 0;
    EXPECT_EQ(util_parsePrefixAddress("2001:db8::1/ 56x", addr, sizeof addr, &plen), VOS_RET_OK);
    EXPECT_STREQ(addr, "2001:db");  // cut to the buffer
    EXPECT_EQ(plen, 56u);
    EXPECT_EQ(util_parsePrefixAddress("any text", addr, sizeof addr, &plen), VOS_RET_OK);
    EXPECT_EQ(plen, 128u);
    EXPECT_EQ(util_parsePrefixAddress("::/4294967295", addr, sizeof addr, &plen), VOS_RET_BAD_ARG);
    EXPECT_EQ(util_parsePrefixAddress("::/4294967360", addr, sizeof addr, &plen), VOS_RET_BAD_ARG);
    EXPECT_EQ(util_parsePrefixAddress("::/-5", addr, sizeof addr, &plen), VOS_RET_BAD_ARG);
    EXPECT_EQ(static_cast<int32_t>(plen), -5);
    EXPECT_STREQ(addr, "");
}

TEST(PrefixAddress, KeepsTheBitsThatCallersRelyOn) {
    constexpr std::tuple<const char *, uint32_t, const char *> kRows[] = {
        {"2001:db8:abcd:1234::", 52, "2001:db8:abcd:30::"},
        {"2001:db8:abcd:1234:5:6:7:8", 64, "2001:db8:abcd:1234::"},
        {"2001:db8::1", 0, "::"},
        {"2001:db8::1", 127, "2001:db8::1"},
        {"not looked at", 128, "not looked at"},
    };
    for (const auto &[address, length, prefix] : kRows) {
        SCOPED_TRACE(length);
        char out[VOS_ADDR_TEXT_SIZE];
        ASSERT_EQ(util_getAddrPrefix(address, length, out), VOS_RET_OK);
        EXPECT_STREQ(out, prefix);
    }
    char out[VOS_ADDR_TEXT_SIZE];
    EXPECT_EQ(util_getAddrPrefix("::", 129, out), VOS_RET_BAD_ARG);
    EXPECT_EQ(util_getAddrPrefix("1.2.3.4", 64, out), VOS_RET_BAD_ARG);
}

TEST(Ipv6Text, IsRewrittenInCanonicalForm) {
    char target[40] = "2001:db8:0:1:9:9:9:9";
    EXPECT_EQ(util_replaceEui64("fe80::a:b:c:d", target), VOS_RET_OK);
    EXPECT_STREQ(target, "2001:db8:0:1:a:b:c:d");
    EXPECT_EQ(util_replaceEui64("fe80::%eth0", target), VOS_RET_BAD_ARG);
    char out[44];
    EXPECT_EQ(util_standardizeIp6Addr("2001:0DB8:0:0::01/048", out, sizeof out), VOS_RET_OK);
    EXPECT_STREQ(out, "2001:db8::1/48");
    EXPECT_EQ(util_standardizeIp6Addr("2001:db8:0:0:0:0:0:1", out, sizeof out), VOS_RET_OK);
    EXPECT_STREQ(out, "2001:db8::1");
    EXPECT_EQ(util_standardizeIp6Addr("2001:db8::1", out, 4), VOS_RET_NO_RESOURCE);
    EXPECT_EQ(util_standardizeIp6Addr("2001:db8::g", out, sizeof out), VOS_RET_BAD_ARG);
}

TEST(ZeroAddress, IsOneOfItsTexts) {
    constexpr std::tuple<uint32_t, const char *, bool> kRows[] = {
        {1, "0.0.0.0", true}, {1, "::", false},      {2, "::", true}, {2, "::/0", true},  {2, "0:0:0:0:0:0:0:0", true},
        {2, "::0", false},    {2, "0.0.0.0", false}, {0, "", true},   {0, nullptr, true}, {0, "::", false},
    };
    for (const auto &[flags, text, zero] : kRows) {
        EXPECT_EQ(util_isZeroIpvxAddress(flags, text), zero) << (text == nullptr ? "NULL" : text);
    }
}

TEST(DnsList, GivesItsFirstTwoServers) {
    constexpr std::tuple<const char *, bool, const char *, const char *> kRows[] = {
        {"8.8.8.8, 1.1.1.1", true, "8.8.8.8", "1.1.1.1"},         {"8.8.8.8", true, "8.8.8.8", "0.0.0.0"},
        {"bad,1.1.1.1,9.9.9.9", true, "0.0.0.0", "1.1.1.1"},      {"8.8.8.8 ,", true, "0.0.0.0", "0.0.0.0"},
        {"2001:db8::1,fe80::2", false, "2001:db8::1", "fe80::2"}, {"8.8.8.8,x", false, "-", "-"},
    };
    for (const auto &[list, ipv4, primary, secondary] : kRows) {
        SCOPED_TRACE(list);
        char first[40] = "-", second[40] = "-";
        EXPECT_EQ(util_parseDNS(list, first, sizeof first, second, sizeof second, ipv4), VOS_RET_OK);
        EXPECT_STREQ(first, primary);
        EXPECT_STREQ(second, secondary);
        EXPECT_EQ(util_parseDNS(list, nullptr, 0, nullptr, 0, ipv4), VOS_RET_OK);
    }
}

TEST(DnsList, IsJoinedWithoutZeroServersBehindAFirst) {
    constexpr std::tuple<const char *, const char *, int32_t, const char *, VosRet> kRows[] = {
        {"10.0.0.1", "10.0.0.2", 40, "10.0.0.1,10.0.0.2", VOS_RET_OK},
        {"10.0.0.1", "0.0.0.0", 40, "10.0.0.1", VOS_RET_OK},
        {"", "0.0.0.0", 40, "0.0.0.0", VOS_RET_OK},
        {nullptr, "::", 40, "::", VOS_RET_OK},
        {nullptr, nullptr, 40, "", VOS_RET_OK},
        {"1.1.1.1", "2.2.2.2", 16, "1.1.1.1,2.2.2.2", VOS_RET_OK},
        {"1.1.1.1", "2.2.2.2", 15, "1.1.1.1", VOS_RET_NO_RESOURCE},
        {"10.10.10.10", "2.2.2.2", 10, "2.2.2.2", VOS_RET_NO_RESOURCE},
    };
    for (const auto &[dns1, dns2, size, joined, ret] : kRows) {
        char list[40] = "before";
        EXPECT_EQ(util_concatDNS(dns1, dns2, list, size), ret) << joined;
        EXPECT_STREQ(list, joined);
    }
    char untouched[] = "x";
    EXPECT_EQ(util_concatDNS("1.1.1.1", nullptr, untouched, 0), VOS_RET_NO_RESOURCE);
    EXPECT_STREQ(untouched, "x");
}

}  // namespace
