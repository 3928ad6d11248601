// Address texts, prefixes and DNS server lists from configuration and peers.
#include <sys/socket.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "vos/addr.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text{reinterpret_cast<const char *>(data), size};
    uint8_t octets[4];
    if (util_isValidIpv4Address(text.c_str()) && !util_ipStrToOctets(text.c_str(), octets)) {
        abort();
    }
    uint32_t length = 0;
    const auto addressSize = static_cast<uint32_t>(size % 50);
    std::vector<char> address(addressSize + 1);
    if (util_parsePrefixAddress(text.c_str(), address.data(), addressSize, &length) == VOS_RET_OK && length > 128) {
        abort();
    }
    char prefix[VOS_ADDR_TEXT_SIZE] = "";
    util_getAddrPrefix(text.c_str(), size % 140, prefix);
    char target[40] = "2001:db8::1";
    util_replaceEui64(text.c_str(), target);
    std::vector<char> canonical(40 + size % 20);
    util_standardizeIp6Addr(text.c_str(), canonical.data(), static_cast<uint32_t>(canonical.size()));
    util_isGUAorULA(text.c_str());
    char servers[2][20];
    util_parseDNS(text.c_str(), servers[0], sizeof servers[0], servers[1], sizeof servers[1], size % 2);
    std::vector<char> list(size % 64 + 1);
    util_concatDNS(text.c_str(), text.c_str(), list.data(), static_cast<int32_t>(list.size()));
    return strnlen(list.data(), list.size()) == list.size() ? abort(), 0 : 0;
}
