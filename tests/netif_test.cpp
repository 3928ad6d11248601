// Interfaces of a private network namespace: a bridge with an alias and a port, neighbours and IPv6 addresses of the
// kernel, and broken tables mounted over its own.
#include "vos/netif.h"

#include <gtest/gtest.h>
#include <net/if.h>

#include <cstdlib>

#include "support/files.h"
#include "support/mount_over.h"
#include "support/syslog_catcher.h"

using vostest::MountOver;

namespace {

using namespace std::string_literals;

void ip(const std::string &arguments) {
    ASSERT_EQ(system(("ip " + arguments).c_str()), 0) << arguments;
}

// br0 with 192.168.1.1/24, its alias br0:0 with 192.168.2.1/24 and the port lan0, all up.
class NetifTest : public testing::Test {
  protected:
    NetifTest() {
        for (const char *arguments : {"link add br0 type bridge", "link add lan0 type veth peer name far0",
                                      "link set br0 address 02:00:00:00:00:01", "link set lan0 master br0",
                                      "addr add 192.168.1.1/24 dev br0", "addr add 192.168.2.1/24 dev br0 label br0:0",
                                      "link set br0 up", "link set lan0 up", "link set far0 up"}) {
            ip(arguments);
        }
    }
    ~NetifTest() override {
        ip("link del br0");
        ip("link del lan0");
    }

    vostest::SameDescriptors descriptors;
};

TEST_F(NetifTest, TellsAddressMaskAndSubnet) {
    char text[16];
    const std::tuple<decltype(&UTIL_getIfAddr), const char *, uint32_t, const char *> kRows[] = {
        {UTIL_getIfAddr, "br0", 16, "192.168.1.1"},
        {UTIL_getIfMask, "br0:0", 16, "255.255.255.0"},
        {UTIL_getIfSubnet, "br0:0", 16, "192.168.2.0"},
        {UTIL_getIfAddr, "br0", 8, "192.168"},
    };
    for (const auto &[query, name, size, found] : kRows) {
        EXPECT_EQ(query(name, text, size), 1);
        EXPECT_STREQ(text, found);
    }
    for (auto *query : {UTIL_getIfAddr, UTIL_getIfMask, UTIL_getIfSubnet}) {
        EXPECT_EQ(query("lan0", text, sizeof text), 0);  // has no address
        EXPECT_EQ(query("none0", text, sizeof text), 0);
        EXPECT_EQ(query("br0", text, 0), 0);
    }
}

TEST_F(NetifTest, TellsAndSetsTheState) {
    const auto state = [](const char *name, VosRet expected = VOS_RET_OK) {
        uint8_t isUp = 9;
        EXPECT_EQ(UTIL_checkInterfaceUp(name, &isUp), expected) << name;
        return isUp;
    };
    EXPECT_EQ(UTIL_isInterfaceExisted("br0"), 1);
    EXPECT_EQ(UTIL_isInterfaceExisted("none0"), 0);
    for (const uint8_t up : {uint8_t{0}, uint8_t{1}}) {
        EXPECT_EQ(UTIL_setIfState("lan0", up), VOS_RET_OK);
        EXPECT_EQ(state("lan0"), up);
    }
    EXPECT_EQ(state("none0"), 0);
    EXPECT_EQ(state("br0:0"), 1);
    EXPECT_EQ(state("br0:9", VOS_RET_ERROR), 0);
    EXPECT_EQ(UTIL_setIfState("none0", 1), VOS_RET_ERROR);
    uint8_t mac[6] = {9};
    EXPECT_EQ(UTIL_getIfMacAddr("none0", mac), 255);
    EXPECT_EQ(mac[0], 9);
    EXPECT_EQ(UTIL_getIfMacAddr("br0", mac), 0);
    EXPECT_EQ(memcmp(mac, "\2\0\0\0\0\1", 6), 0);
}

TEST_F(NetifTest, KnowsOnlyTheBridgesOwnSubnetAsLan) {
    EXPECT_EQ(UTIL_isAddressOnLanSide("192.168.1.77"), 1);
    for (const char *other : {"192.168.2.77", "10.0.0.1", "fe80::1", "text", ""}) {
        EXPECT_EQ(UTIL_isAddressOnLanSide(other), 0) << other;
    }
}

TEST_F(NetifTest, FindsTheBridgePortOfAMacAddress) {
    const auto row = [](char last, char port) { return "\2\0\0\0\0"s + last + std::string(7, '\0') + port + "\0\0"s; };
    const std::string mac = row('\x0a', static_cast<char>(if_nametoindex("lan0")));
    const auto found = [](const char *macText) {
        char name[16] = "";
        EXPECT_EQ(UTIL_getLanInterFace(macText, name, sizeof name), 0);
        return std::string{name};
    };
    EXPECT_EQ(found("02:00:00:00:00:0A"), "br0");  // the kernel's own table has no such entry
    {
        const MountOver table{"/sys/class/net/br0/brforward", row('\x0b', '\xfa') + mac + mac.substr(0, 6)};
        EXPECT_EQ(found("02:00:00:00:00:0A"), "lan0");
        vostest::Diagnostics log;
        EXPECT_EQ(found("02:00:00:00:00:0B"), "br0");
        EXPECT_EQ(log.takeBodies().size(), 1u);
    }
    char kept[8] = "before";
    UTIL_getLanInterFace("02:00:00:00:00:0A", kept, sizeof kept);
    EXPECT_STREQ(kept, "before");
    EXPECT_EQ(found(nullptr), "br0");
}

TEST_F(NetifTest, FindsANeighboursMacAddress) {
    ip("neigh add 192.168.1.50 lladdr 02:00:00:00:00:50 dev br0");
    char mac[18];
    EXPECT_EQ(UTIL_getMacAddrFromArpByIp("192.168.1.50", mac, sizeof mac), 0);
    EXPECT_STREQ(mac, "02:00:00:00:00:50");
    EXPECT_EQ(UTIL_getMacAddrFromArpByIp("192.168.1.51", mac, sizeof mac), -1);
    EXPECT_EQ(UTIL_getMacAddrFromArpByIp("192.168.1.50", mac, 0), -1);
    // The whole directory is covered: the kernel drops mounts on its files.
    const MountOver broken{"/proc/net", "arp",
                           "192.168.1.9 0x1 0x2 heading\n\n192.168.1.9 0x1\n" + std::string(400, 'x') +
                               "\n192.168.1.8 0x1 0x2 02:00:00:00:00:08 *\n192.168.1.7 0x1 0x2 02:00"};
    EXPECT_EQ(UTIL_getMacAddrFromArpByIp("192.168.1.8", mac, sizeof mac), 0);
    EXPECT_STREQ(mac, "02:00:00:00:00:08");
    for (const char *absent : {"192.168.1.7", "192.168.1.9"}) {
        EXPECT_EQ(UTIL_getMacAddrFromArpByIp(absent, mac, sizeof mac), -1) << absent;
    }
}

TEST_F(NetifTest, ListsIpv6Addresses) {
    ip("link set br0 addrgenmode none");
    ip("-6 addr flush dev br0");
    ip("-6 addr add fe80::1/64 dev br0 nodad");
    ip("-6 addr add 2001:db8::1/56 dev br0 nodad");
    char addr[VOS_IF_ADDR6_SIZE];
    uint32_t prefixLen = 0;
    EXPECT_EQ(UTIL_getLinkLocalIfAddr6("br0", addr, &prefixLen), VOS_RET_OK);
    EXPECT_STREQ(addr, "fe80:0000:0000:0000:0000:0000:0000:0001");
    EXPECT_EQ(prefixLen, 64u);
    EXPECT_EQ(UTIL_getGloballyUniqueIfAddr6("br0", addr, &prefixLen), VOS_RET_OK);
    EXPECT_STREQ(addr, "2001:0db8:0000:0000:0000:0000:0000:0001");
    EXPECT_EQ(prefixLen, 56u);
    EXPECT_EQ(UTIL_getGloballyUniqueIfAddr6("none0", addr, &prefixLen), VOS_RET_NOTHING_FOUND);
    uint32_t ifIndex = 0, scope = 0, flags = 0;
    const auto get = [&](const char *name, uint32_t index) {
        return UTIL_getIfAddr6(name, index, addr, &ifIndex, &prefixLen, &scope, &flags);
    };
    EXPECT_EQ(get("br0", 1), VOS_RET_OK);
    EXPECT_EQ(ifIndex, if_nametoindex("br0"));
    EXPECT_EQ(get("br0", 2), VOS_RET_NOTHING_FOUND);
    EXPECT_STREQ(addr, "");
    EXPECT_EQ(get("br", 0), VOS_RET_NOTHING_FOUND);
    const std::string address = "20010db8000000000000000000000001";
    const MountOver broken{"/proc/net", "if_inet6",
                           "other line\n" + address + " 1234567 40 00 80 a-name-of-15-ch\n" + address + " 05 40\n" +
                               address.substr(1) + " 05 40 00 80 short0\n" + address + " 05 40 00 80 last0"};
    EXPECT_EQ(get("a-name-of-15-ch", 0), VOS_RET_OK);
    EXPECT_EQ(ifIndex, 0x1234567u);
    EXPECT_EQ(get("05", 0), VOS_RET_ERROR);
    EXPECT_EQ(get("short0", 0), VOS_RET_ERROR);
    EXPECT_EQ(get("last0", 0), VOS_RET_NOTHING_FOUND);
}

TEST(SubnetMask, StandsLowestByteFirst) {
    constexpr std::pair<uint32_t, const char *> kRows[] = {{24, "0.255.255.255"},  {8, "0.0.0.255"},
                                                           {0, "255.255.255.255"}, {32, "255.255.255.255"},
                                                           {20, "0.240.255.255"},  {33, "0.0.0.128"}};
    for (const auto &[length, mask] : kRows) {
        char text[16];
        EXPECT_EQ(UTIL_subnetLenToSubnetMask(length, text, sizeof text), 0);
        EXPECT_STREQ(text, mask);
    }
}

TEST(Ipv6Comparison, ParsesBothSides) {
    const std::tuple<const char *, const char *, bool, bool> kRows[] = {
        {"2001:db8::1", "2001:DB8:0::1", true, false},
        {"::1/64", "::1/128", false, false},
        {"::1", "::1/128", true, true},
        {nullptr, "", true, true},
        {"", "::1", false, false},
        {nullptr, "::1", false, false},
        {"x", "::1", false, false},
        {"2001:db8:0:1::5", "2001:db8:0:1::/64", false, true},
        {"2001:db8:0:2::5", "2001:db8:0:1::/64", false, false},
        {"::1", "0000:0000:0000:0000:0000:0000:0000:0001/64", false, false},
    };
    for (const auto &[a, b, equal, sameSubnet] : kRows) {
        SCOPED_TRACE(std::string{a == nullptr ? "NULL" : a} + " " + b);
        EXPECT_EQ(UTIL_areIpv6AddrEqual(a, b), equal);
        EXPECT_EQ(UTIL_isHostInSameSubnet(a, b), sameSubnet);
    }
}

}  // namespace
