// IPv6 addresses of interfaces, and comparisons of IPv6 texts.
#include <arpa/inet.h>
#include <cstring>

#include "internal/dbg.h"
#include "vos/addr.h"
#include "vos/netif.h"
#include "vos/text.h"

namespace {

constexpr uint32_t kAddressText = 64;
constexpr uint32_t kSubnetAddressText = 32;

VosRet firstOfScope(const char *ifName, uint32_t wanted, char *addrOut, uint32_t *prefixLen) {
    uint32_t ifIndex = 0;
    uint32_t scope = 0;
    uint32_t flags = 0;
    for (uint32_t i = 0; UTIL_getIfAddr6(ifName, i, addrOut, &ifIndex, prefixLen, &scope, &flags) == VOS_RET_OK; i++) {
        if (scope == wanted) {
            return VOS_RET_OK;
        }
    }
    return VOS_RET_NOTHING_FOUND;
}

bool bothAbsent(const char *a, const char *b) {
    return util_strlen(a) == 0 && util_strlen(b) == 0;
}

}  // namespace

VosRet UTIL_getIfAddr6(const char *ifName, uint32_t index, char *addrOut, uint32_t *ifIndex, uint32_t *prefixLen,
                       uint32_t *scope, uint32_t *flags) {
    return oal_getIfAddr6(ifName, index, addrOut, ifIndex, prefixLen, scope, flags);
}

VosRet UTIL_getLinkLocalIfAddr6(const char *ifName, char *addrOut, uint32_t *prefixLen) {
    return firstOfScope(ifName, VOS_IF_SCOPE_LINK_LOCAL, addrOut, prefixLen);
}

VosRet UTIL_getGloballyUniqueIfAddr6(const char *ifName, char *addrOut, uint32_t *prefixLen) {
    return firstOfScope(ifName, VOS_IF_SCOPE_GLOBAL, addrOut, prefixLen);
}

uint8_t UTIL_areIpv6AddrEqual(const char *a, const char *b) {
    if (bothAbsent(a, b)) {
        return 1;
    }
    if (a == nullptr || b == nullptr) {
        return 0;
    }
    const char *texts[] = {a, b};
    char addresses[2][kAddressText];
    uint32_t lengths[2];
    for (size_t i = 0; i < 2; i++) {
        const VosRet ret = util_parsePrefixAddress(texts[i], addresses[i], kAddressText, &lengths[i]);
        if (ret != VOS_RET_OK) {
            VOS_DBG_ERROR("util_parsePrefixAddress returns error. ret=%d", static_cast<int>(ret));
            return 0;
        }
    }
    in6_addr bytes[2];
    for (size_t i = 0; i < 2; i++) {
        if (inet_pton(AF_INET6, addresses[i], &bytes[i]) != 1) {
            VOS_DBG_ERROR("Invalid address%d=%s", static_cast<int>(i + 1), addresses[i]);
            return 0;
        }
    }
    return memcmp(&bytes[0], &bytes[1], sizeof bytes[0]) == 0 && lengths[0] == lengths[1] ? 1 : 0;
}

uint8_t UTIL_isHostInSameSubnet(const char *host, const char *prefix) {
    if (bothAbsent(host, prefix)) {
        return 1;
    }
    if (host == nullptr || prefix == nullptr) {
        return 0;
    }
    if (strchr(host, '/') != nullptr) {
        VOS_DBG_ERROR("Invalid host address %s", host);
        return 0;
    }
    if (strchr(prefix, '/') == nullptr) {
        VOS_DBG_ERROR("Invalid address prefix %s", prefix);
        return 0;
    }
    char network[kSubnetAddressText];
    uint32_t length = 0;
    VosRet ret = util_parsePrefixAddress(prefix, network, sizeof network, &length);
    if (ret != VOS_RET_OK) {
        VOS_DBG_ERROR("koraUtl_parsePrefixAddress returns error. ret=%d", static_cast<int>(ret));
        return 0;
    }
    const char *texts[] = {host, network};
    char reduced[2][VOS_ADDR_TEXT_SIZE];
    for (size_t i = 0; i < 2; i++) {
        ret = util_getAddrPrefix(texts[i], length, reduced[i]);
        if (ret != VOS_RET_OK) {
            VOS_DBG_ERROR("koraUtl_getAddrPrefix returns error. ret=%d", static_cast<int>(ret));
            return 0;
        }
    }
    return UTIL_areIpv6AddrEqual(reduced[0], reduced[1]);
}
