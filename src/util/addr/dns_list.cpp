// Comma-separated lists of DNS servers.
#include <sys/socket.h>
#include <cctype>
#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/text_room.h"
#include "vos/addr.h"
#include "vos/text.h"

namespace {

constexpr const char *kNoServer = "0.0.0.0";

struct Output {
    char *buf;
    uint32_t size;

    void set(const char *text) const {
        if (buf != nullptr) {
            util_strncpy(__func__, __LINE__, buf, text, vos::textRoom(size));
        }
    }
    void setIfValid(const char *text, uint8_t isIPv4) const {
        if (buf != nullptr && util_isValidIpAddress(isIPv4 != 0 ? AF_INET : AF_INET6, text)) {
            set(text);
        }
    }
};

}  // namespace

VosRet util_parseDNS(const char *servers, char *primary, uint32_t pLen, char *secondary, uint32_t sLen,
                     uint8_t isIPv4) {
    if (servers == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    VOS_DBG_DEBUG("entered: DDNSservers=>%s<=, isIPv4<%d>", servers, isIPv4);
    const Output first{primary, pLen};
    const Output second{secondary, sLen};
    if (isIPv4 != 0) {
        first.set(kNoServer);
        second.set(kNoServer);
    }
    const vos::MemPtr<char> work{vosMem_strdup(servers, __func__, __LINE__)};
    if (!work) {
        VOS_DBG_ERROR("alloc of %d bytes failed", static_cast<int>(strlen(servers) + 1));
        return VOS_RET_ERROR;
    }
    char *rest = work.get();
    const char *item = strsep(&rest, ",");
    if (rest != nullptr) {
        while (isspace(static_cast<unsigned char>(*rest)) != 0) {
            rest++;
        }
        const char *next = strsep(&rest, ",");
        second.setIfValid(next, isIPv4);
        VOS_DBG_DEBUG("dnsSecondary=%s", next);
    }
    first.setIfValid(item, isIPv4);
    VOS_DBG_DEBUG("dnsPrimary=%s", item);
    return VOS_RET_OK;
}

VosRet util_concatDNS(const char *dns1, const char *dns2, char *list, int32_t bufLen) {
    if (list == nullptr) {
        VOS_DBG_ERROR("serverList is NULL!");
        return VOS_RET_BAD_ARG;
    }
    if (bufLen <= 0) {
        return VOS_RET_NO_RESOURCE;
    }
    const auto room = static_cast<size_t>(bufLen);
    VosRet ret = VOS_RET_OK;
    *list = '\0';
    if (util_strlen(dns1) > 0) {
        if (strlen(dns1) < room) {
            util_strncpy(__func__, __LINE__, list, dns1, bufLen);
        } else {
            VOS_DBG_ERROR("dns1 %s too long for bufLen %d", dns1, bufLen);
            ret = VOS_RET_NO_RESOURCE;
        }
    }
    // Contract: an all-zero second server is kept where there is no first one.
    const bool done =
        *list != '\0' ? util_isZeroIpvxAddress(VOS_ADDR_IPV4 | VOS_ADDR_IPV6, dns2) : util_strlen(dns2) == 0;
    if (done) {
        return ret;
    }
    if (strlen(list) + strlen(dns2) + 1 >= room) {
        VOS_DBG_ERROR("dns2 %s cannot fit into bufLen %d", dns2, bufLen);
        return VOS_RET_NO_RESOURCE;
    }
    if (*list != '\0') {
        util_strncat(__func__, __LINE__, list, ",", bufLen);
    }
    util_strncat(__func__, __LINE__, list, dns2, bufLen);
    return ret;
}
