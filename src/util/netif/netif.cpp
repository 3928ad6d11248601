// Interfaces: IPv4 address, mask and subnet, existence, state and hardware address.
#include "vos/netif.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <algorithm>
#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/text_room.h"
#include "vos/text.h"

namespace {

constexpr const char *kBridge = "br0";
constexpr const char *kBridgeAlias = "br0:0";
constexpr int kNoMacAddress = 255;
constexpr size_t kMacBytes = 6;

// One interface request on a socket of its own.
class IfRequest {
  public:
    explicit IfRequest(const char *ifName) : fd_{socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)} {
        util_strncpy(__func__, __LINE__, request_.ifr_name, ifName, IFNAMSIZ);
    }
    explicit operator bool() const { return static_cast<bool>(fd_); }
    bool issue(unsigned long code) {
        // The type of the request code differs between C libraries.
        return ioctl(fd_.get(), static_cast<decltype(ioctlCode(ioctl))>(code), &request_) >= 0;
    }
    ifreq *operator->() { return &request_; }

  private:
    template <typename Code>
    static Code ioctlCode(int (*)(int, Code, ...));

    vos::UniqueFd fd_;
    ifreq request_{};
};

bool readIpv4(const char *ifName, unsigned long code, in_addr *out) {
    if (ifName == nullptr) {
        return false;
    }
    IfRequest request{ifName};
    if (!request || !request.issue(code)) {
        return false;
    }
    sockaddr_in address;
    memcpy(&address, &request->ifr_addr, sizeof address);
    *out = address.sin_addr;
    return true;
}

bool readAddressAndMask(const char *ifName, in_addr_t *address, in_addr_t *mask) {
    in_addr ip{};
    in_addr netmask{};
    if (!readIpv4(ifName, SIOCGIFADDR, &ip) || !readIpv4(ifName, SIOCGIFNETMASK, &netmask)) {
        return false;
    }
    *address = ip.s_addr;
    *mask = netmask.s_addr;
    return true;
}

int writeIpv4(in_addr address, char *buf, uint32_t size) {
    char text[INET_ADDRSTRLEN];
    if (buf == nullptr || size == 0 || inet_ntop(AF_INET, &address, text, sizeof text) == nullptr) {
        return 0;
    }
    util_strncpy(__func__, __LINE__, buf, text, vos::textRoom(size));
    return 1;
}

int queryIpv4(const char *ifName, unsigned long code, char *buf, uint32_t size) {
    in_addr address{};
    return readIpv4(ifName, code, &address) ? writeIpv4(address, buf, size) : 0;
}

bool isInBridgeSubnet(in_addr_t ip) {
    in_addr_t address = 0;
    in_addr_t mask = 0;
    return readAddressAndMask(kBridge, &address, &mask) && ((ip ^ address) & mask) == 0;
}

}  // namespace

int UTIL_getIfAddr(const char *ifName, char *buf, uint32_t size) {
    return queryIpv4(ifName, SIOCGIFADDR, buf, size);
}

int UTIL_getIfMask(const char *ifName, char *buf, uint32_t size) {
    return queryIpv4(ifName, SIOCGIFNETMASK, buf, size);
}

int UTIL_getIfSubnet(const char *ifName, char *buf, uint32_t size) {
    in_addr_t address = 0;
    in_addr_t mask = 0;
    return readAddressAndMask(ifName, &address, &mask) ? writeIpv4(in_addr{address & mask}, buf, size) : 0;
}

int UTIL_subnetLenToSubnetMask(uint32_t len, char *buf, uint32_t size) {
    // Contract: the lowest byte stands first, and 0 gives the full mask.
    const uint32_t mask = UINT32_MAX << (32 - len % 32) % 32;
    if (buf != nullptr && size > 0) {
        util_snprintf(__func__, __LINE__, buf, size, "%d.%d.%d.%d", static_cast<int>(mask & 0xFF),
                      static_cast<int>(mask >> 8 & 0xFF), static_cast<int>(mask >> 16 & 0xFF),
                      static_cast<int>(mask >> 24));
    }
    return 0;
}

int UTIL_isInterfaceExisted(const char *ifName) {
    if (ifName == nullptr) {
        return 0;
    }
    IfRequest request{ifName};
    if (!request) {
        VOS_DBG_DEBUG("[%s, %d] socket fail\r\n", __func__, __LINE__);
        return 0;
    }
    if (!request.issue(SIOCGIFINDEX)) {
        VOS_DBG_DEBUG("[%s, %d] ioctl fail\r\n", __func__, __LINE__);
        return 0;
    }
    return request->ifr_ifindex > 0 ? 1 : 0;
}

VosRet UTIL_setIfState(const char *ifName, uint8_t up) {
    if (ifName == nullptr) {
        VOS_DBG_ERROR("NULL == ifName");
        return VOS_RET_BAD_ARG;
    }
    VOS_DBG_DEBUG("ifName = %s, up = %s", ifName, up != 0 ? "UP" : "DOWN");
    IfRequest request{ifName};
    if (!request) {
        VOS_DBG_ERROR("Create socket fail");
        return VOS_RET_ERROR;
    }
    if (!request.issue(SIOCGIFFLAGS)) {
        VOS_DBG_ERROR("Get if flags fail");
        return VOS_RET_ERROR;
    }
    const int flags = up != 0 ? request->ifr_flags | IFF_UP : request->ifr_flags & ~IFF_UP;
    request->ifr_flags = static_cast<short>(flags);
    if (!request.issue(SIOCSIFFLAGS)) {
        VOS_DBG_ERROR("Set if flags fail");
        return VOS_RET_ERROR;
    }
    return VOS_RET_OK;
}

VosRet UTIL_checkInterfaceUp(const char *ifName, uint8_t *isUp) {
    if (isUp == nullptr) {
        return VOS_RET_ERROR;
    }
    *isUp = 0;
    if (ifName == nullptr) {
        return VOS_RET_ERROR;
    }
    IfRequest request{ifName};
    if (!request || (strchr(ifName, ':') != nullptr && !request.issue(SIOCGIFADDR))) {
        return VOS_RET_ERROR;
    }
    *isUp = request.issue(SIOCGIFFLAGS) && (request->ifr_flags & IFF_UP) != 0 ? 1 : 0;
    return VOS_RET_OK;
}

int UTIL_getIfMacAddr(const char *ifName, uint8_t *mac6) {
    if (ifName == nullptr || mac6 == nullptr) {
        return 0;  // Contract: missing arguments read like success.
    }
    IfRequest request{ifName};
    if (!request) {
        return 0;
    }
    if (!request.issue(SIOCGIFHWADDR)) {
        return kNoMacAddress;
    }
    memcpy(mac6, request->ifr_hwaddr.sa_data, kMacBytes);
    return 0;
}

int UTIL_isAddressOnLanSide(const char *ipText) {
    in_addr ip{};
    if (ipText == nullptr || strchr(ipText, ':') != nullptr || inet_aton(ipText, &ip) == 0) {
        return 0;
    }
    if (isInBridgeSubnet(ip.s_addr)) {
        return 1;
    }
    uint8_t aliasIsUp = 0;
    UTIL_checkInterfaceUp(kBridgeAlias, &aliasIsUp);
    // Contract: the second look goes to br0 again, not to the alias.
    return aliasIsUp != 0 && isInBridgeSubnet(ip.s_addr) ? 1 : 0;
}
