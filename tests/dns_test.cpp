// The DNS client against a scripted server on the sandbox's port 53, hostile replies included, and against dnsmasq.
#include "vos/dns.h"

#include <cerrno>
#include <cstring>
#include <vector>

#include "support/shell.h"
#include "support/syslog_catcher.h"
#include "support/udp_server.h"

namespace {

using namespace std::string_literals;
using Strings = std::vector<std::string>;

std::string u16(unsigned value) {
    return {static_cast<char>(value >> 8), static_cast<char>(value)};
}

std::string labels(const Strings &parts) {
    std::string wire;
    for (const std::string &part : parts) {
        wire += static_cast<char>(part.size()) + part;
    }
    return wire + '\0';
}

const std::string kHostName = "www.example.com";
const std::string kQName = labels({"www", "example", "com"});
const std::string kPointer = "\xC0\x0C"s;  // to the question's name

std::string record(unsigned type, const std::string &data, const std::string &name = kPointer) {
    return name + u16(type) + u16(1) + u16(0) + u16(60) + u16(static_cast<unsigned>(data.size())) + data;
}

std::string address(unsigned last) {
    return record(VOS_DNS_TYPE_A, "\x0A\0\0"s + static_cast<char>(last));
}

std::string reply(const Strings &answers, unsigned type = VOS_DNS_TYPE_A, const std::string &qname = kQName) {
    std::string wire = u16(0x5678) + u16(0x8180) + u16(1) + u16(static_cast<unsigned>(answers.size())) + u16(0) +
                       u16(0) + qname + u16(type) + u16(1);
    for (const std::string &answer : answers) {
        wire += answer;
    }
    return wire;
}

// What the decoder makes of a message.
std::string decode(std::string wire, uint32_t size = 200) {
    wire.resize(VOS_DNS_MESSAGE_SIZE);
    const std::vector<uint8_t> message(wire.begin(), wire.end());  // exact, for the sanitizers
    std::string out(size, '\0');
    util_dnsDecodeResponse(message.data(), out.data(), size);
    return out.c_str();
}

using Server = vostest::UdpServer;

TEST(DnsQuery, AsksOnceAndListsTheAddresses) {
    const vostest::SameDescriptors descriptors;
    {
        Server server{AF_INET, reply({address(1), address(2)})};
        char out[64] = "";
        EXPECT_EQ(UTIL_dnsDoQuery(kHostName.c_str(), "lo", "127.0.0.1", out, sizeof out), VOS_RET_OK);
        EXPECT_STREQ(out, "10.0.0.1\t10.0.0.2\t");
        EXPECT_EQ(server.query(),
                  u16(0x5678) + u16(0x0100) + u16(1) + u16(0) + u16(0) + u16(0) + kQName + u16(1) + u16(1));
    }
    for (const auto &[queryType, type] : {std::pair<uint8_t, unsigned>{1, VOS_DNS_TYPE_AAAA}, {2, VOS_DNS_TYPE_A}}) {
        const std::string data = type == VOS_DNS_TYPE_A ? "\x0A\0\0\1"s : std::string(15, '\0') + '\1';
        Server server{AF_INET6, reply({record(type, data)}, type)};
        char out[64] = "";
        EXPECT_EQ(UTIL_dnsDoIpv6Query(kHostName.c_str(), nullptr, "::1", out, sizeof out, queryType), VOS_RET_OK);
        EXPECT_STREQ(out, type == VOS_DNS_TYPE_A ? "10.0.0.1\t" : "::1\t");
        EXPECT_EQ(server.query().substr(29), u16(type) + u16(1));
    }
}

TEST(DnsQuery, TakesTheFirstDatagramWhateverItIs) {
    char out[64] = "";
    {
        Server server{AF_INET, reply({address(1)}).replace(0, 4, "\0\0\x03\x83"s), true};
        EXPECT_EQ(UTIL_dnsDoQuery("www.example.com", "", "127.0.0.1", out, sizeof out), VOS_RET_OK);
        EXPECT_STREQ(out, "10.0.0.1\t");
    }
    for (const std::string &answer : {reply({}), std::string{}, reply({address(1)}).substr(0, 30), "x"s}) {
        out[0] = '\0';
        Server server{AF_INET, answer};
        EXPECT_EQ(UTIL_dnsDoQuery("www.example.com", nullptr, "127.0.0.1", out, sizeof out), VOS_RET_ERROR);
        EXPECT_STREQ(out, "");
    }
}

TEST(DnsQuery, SaysWhyItFails) {
    vostest::Diagnostics log;
    char out[64] = "";
    EXPECT_EQ(UTIL_dnsDoQuery("a", nullptr, "127.0.0.1", out, 0), VOS_RET_BAD_ARG);
    log.take();
    const vostest::SameDescriptors descriptors;
    const std::string longName = std::string(300, 'a') + "." + std::string(193, 'b');
    for (const std::string &name : {".a"s, "a..b"s, "a."s, ""s, longName + "c"}) {
        EXPECT_EQ(UTIL_dnsDoQuery(name.c_str(), nullptr, "127.0.0.1", out, sizeof out), VOS_RET_ERROR);
        EXPECT_EQ(log.takeBodies().at(1), "Invalid host name: " + name);
    }
    const auto lastError = [&log] {
        std::string text;
        for (const vostest::SyslogLine &line : log.take()) {
            text = line.priority == 3 ? line.body() : text;
        }
        return text;
    };
    EXPECT_EQ(UTIL_dnsDoQuery("a", "none0", "127.0.0.1", out, sizeof out), VOS_RET_ERROR);
    EXPECT_EQ(lastError(), "Bind socket to device error, No such device(19)");
    EXPECT_EQ(UTIL_dnsDoQuery("a", nullptr, "203.0.113.1", out, sizeof out), VOS_RET_ERROR);
    EXPECT_EQ(lastError(), std::string{"sendto fail, "} + strerror(ENETUNREACH) + "(101)");
    Server silent{AF_INET, Server::Answer{}};
    EXPECT_EQ(UTIL_dnsDoQuery(longName.c_str(), nullptr, "127.0.0.1", out, sizeof out), VOS_RET_ERROR);
    EXPECT_EQ(lastError(), "DNS timeout");
    EXPECT_EQ(silent.query().size(), 512U);
    EXPECT_EQ(silent.query()[12], 300 % 256);
}

TEST(DnsDecoder, TakesTheAnswersOfTheQuestionsType) {
    const std::string cname = record(5, labels({"web"}));
    Strings seven;
    for (unsigned i = 1; i <= 7; i++) {
        seven.push_back(address(i));
    }
    const std::string h63(63, 'h');
    const std::string longData = "\x0A\0\0\7"s + std::string(300, 'x');
    const std::string beyond = kPointer + u16(1) + u16(1) + u16(0) + u16(0) + u16(500);
    const std::string arpa = labels({"4", "3", "2", "1", "in-addr", "arpa"});
    const std::tuple<const char *, std::string, std::string> kRows[] = {
        {"alias first", reply({cname, address(1), address(2)}), "10.0.0.1\t10.0.0.2\t"},
        {"seven answers", reply(seven), "10.0.0.1\t10.0.0.2\t10.0.0.3\t10.0.0.4\t10.0.0.5\t"},
        {"digits", reply({record(VOS_DNS_TYPE_A, "\x63\x64\xFF\x0A")}), "99.100.255.10\t"},
        {"longest label", reply({record(VOS_DNS_TYPE_PTR, "x", labels({h63}))}, VOS_DNS_TYPE_PTR), h63},
        {"another family", reply({record(VOS_DNS_TYPE_AAAA, std::string(16, 'x'))}), ""},
        {"short addresses", reply({record(VOS_DNS_TYPE_A, "abc"), address(2)}), "10.0.0.2\t"},
        {"short IPv6", reply({record(VOS_DNS_TYPE_AAAA, "abcd")}, VOS_DNS_TYPE_AAAA), ""},
        {"long data", reply({record(VOS_DNS_TYPE_A, longData), address(8)}), "10.0.0.7\t10.0.0.8\t"},
        {"host", reply({record(VOS_DNS_TYPE_PTR, "x", labels({"host"}))}, VOS_DNS_TYPE_PTR, arpa), "host"},
        {"name of an address, in reverse", reply({}, VOS_DNS_TYPE_PTR, arpa), "1.2.3.4"},
        {"no question", reply({address(1)}).replace(4, 2, u16(0)), ""},
        {"record beyond the end", reply({address(1), beyond, address(3)}), "10.0.0.1\t"},
        {"nothing but counts", std::string(12, '\xff'), ""},
    };
    for (const auto &[what, message, text] : kRows) {
        SCOPED_TRACE(what);
        EXPECT_EQ(decode(message), text);
    }
    EXPECT_EQ(decode(reply({address(1), address(2)}), 12), "10.0.0.1\t10");
    // With six questions the answers are read from the sixth on.
    std::string six = u16(1) + u16(0) + u16(6) + u16(1) + u16(0) + u16(0);
    for (int i = 0; i < 6; i++) {
        six += labels({"q"}) + u16(1) + u16(1);
    }
    EXPECT_EQ(decode(six + address(1)), "");
}

TEST(DnsDecoder, FollowsPointersByTheirLowByteAndNotForEver) {
    const std::string label60 = static_cast<char>(60) + std::string(60, 'n');
    const std::string longest = label60 + label60 + label60 + label60;  // 244 characters with their dots
    const std::tuple<std::string, int, const char *, size_t> kRows[] = {
        {labels({"a", "bc"}), 5, "a.bc", 6},
        {"\0"s, 1, "", 1},
        {"\1a\xC0\x40"s, 6, "a.low", 4},
        {"\1a\x7F\x40"s, 6, "a.low", 4},
        {"\xC0\x64"s, -1, "", 412},
        {longest + "\x0B"s + std::string(11, 'm') + '\0', 256, nullptr, 257},
        {longest + "\x0C"s + std::string(12, 'm') + '\0', -1, "", 412},
    };
    for (const auto &[name, stored, text, consumed] : kRows) {
        std::string wire(VOS_DNS_MESSAGE_SIZE, '\0');
        wire.replace(0x40, 5, labels({"low"}));
        wire.replace(100, name.size(), name);
        const std::vector<uint8_t> message(wire.begin(), wire.end());
        char out[VOS_DNS_NAME_SIZE];
        const uint8_t *cursor = message.data() + 100;
        EXPECT_EQ(util_dnsDecodeName(out, &cursor, message.data()), stored);
        EXPECT_EQ(static_cast<size_t>(cursor - message.data() - 100), consumed);
        if (text != nullptr) {
            EXPECT_STREQ(out, text);
        }
    }
}

TEST(DnsDecoder, DecodesOneRecordAtATime) {
    std::string wire = reply({address(9)});
    wire.resize(VOS_DNS_MESSAGE_SIZE);
    const auto *message = reinterpret_cast<const uint8_t *>(wire.data());
    const uint8_t *cursor = message + 12;
    DnsResourceRecord answer{};
    for (const uint8_t isQuestion : {uint8_t{1}, uint8_t{0}}) {
        answer.name[0] = 0;
        util_dnsDecodeRR(&answer, &cursor, isQuestion, message);
        EXPECT_STREQ(answer.name, "www.example.com");
    }
    EXPECT_EQ((std::tuple{answer.ttl, answer.rdLength, answer.rdata[3]}), (std::tuple{60u, 4, 9}));
    EXPECT_EQ(cursor - message, 33 + 16);
    cursor = message + VOS_DNS_MESSAGE_SIZE - 3;
    util_dnsDecodeRR(&answer, &cursor, 0, message);
    EXPECT_EQ(answer.type, 0);
    EXPECT_EQ(cursor, message + VOS_DNS_MESSAGE_SIZE);
}

TEST(DnsQuery, IsAnsweredByARealServer) {
    constexpr const char *kServe =
        "dnsmasq --conf-file=/dev/null --pid-file=/tmp/dnsmasq --no-resolv --no-hosts --log-facility=/dev/null "
        "--listen-address=127.0.0.1,::1 --bind-interfaces --cname=www.example.com,web.example.com "
        "--host-record=web.example.com,10.1.2.3,2001:db8::3";
    const auto started = vostest::shell(kServe);  // which returns when it listens
    ASSERT_EQ(started.status, 0) << started.err;
    char out[100] = "";
    EXPECT_EQ(UTIL_dnsDoQuery("www.example.com", "lo", "127.0.0.1", out, sizeof out), VOS_RET_OK);
    EXPECT_STREQ(out, "10.1.2.3\t");
    out[0] = '\0';
    EXPECT_EQ(UTIL_dnsDoIpv6Query("www.example.com", "", "::1", out, sizeof out, 1), VOS_RET_OK);
    EXPECT_STREQ(out, "2001:db8::3\t");
    out[0] = '\0';
    EXPECT_EQ(UTIL_dnsDoQuery("absent.example.com", "", "127.0.0.1", out, sizeof out), VOS_RET_ERROR);
    EXPECT_EQ(vostest::shell("kill $(cat /tmp/dnsmasq)").status, 0);
}

}  // namespace
