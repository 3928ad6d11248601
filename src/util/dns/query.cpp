// One DNS question, one datagram out, the first datagram in.
#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "internal/bytes.h"
#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/slice.h"
#include "vos/dns.h"

using std::string_view;

namespace {

constexpr uint16_t kPort = 53;
constexpr uint16_t kQueryId = 0x5678;
constexpr uint16_t kRecursionDesired = 0x0100;
constexpr uint16_t kClassInternet = 1;
constexpr size_t kAnswerCountAt = 6;
constexpr int kTimeoutMs = 2000;
constexpr uint8_t kAskForIpv6 = 1;

struct Server {
    union {
        sockaddr any;
        sockaddr_in ipv4;
        sockaddr_in6 ipv6;
    };
    socklen_t size;
};

// The server's address; without a text the wildcard address and an ephemeral port.
// Contract: a text that is no address is not noticed before sending fails, or means the unspecified IPv6 address.
Server endpoint(int family, const char *text) {
    Server server{};
    const uint16_t port = htons(text == nullptr ? 0 : kPort);
    if (family == AF_INET) {
        server.ipv4.sin_family = AF_INET;
        server.ipv4.sin_port = port;
        server.ipv4.sin_addr.s_addr = text == nullptr ? INADDR_ANY : inet_addr(text);
        server.size = sizeof server.ipv4;
    } else {
        server.ipv6.sin6_family = AF_INET6;
        server.ipv6.sin6_port = port;
        if (text != nullptr) {
            inet_pton(AF_INET6, text, &server.ipv6.sin6_addr);
        }
        server.size = sizeof server.ipv6;
    }
    return server;
}

// Bytes of the query; 0 for a name with an empty label or one that does not fit.
size_t buildQuery(uint8_t (&message)[VOS_DNS_MESSAGE_SIZE], const char *hostName, uint16_t type) {
    vos::ByteWriter writer{message, sizeof message};
    for (const uint16_t word : {kQueryId, kRecursionDesired, uint16_t{1}, uint16_t{0}, uint16_t{0}, uint16_t{0}}) {
        writer.u16be(word);
    }
    string_view rest{hostName};
    for (bool last = false; !last;) {
        const size_t dot = rest.find('.');
        last = dot == string_view::npos;
        const string_view label = vos::slice(rest, 0, dot);
        if (label.empty()) {
            return 0;
        }
        writer.u8(static_cast<uint8_t>(label.size()));  // not limited to 63, as servers of the field know it
        writer.text(label);
        rest.remove_prefix(last ? rest.size() : dot + 1);
    }
    writer.u8(0);
    writer.u16be(type);
    writer.u16be(kClassInternet);
    return writer.ok() ? writer.position() : 0;
}

vos::UniqueFd openSocket(int family, const char *ifName) {
    vos::UniqueFd fd{socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    if (!fd) {
        VOS_DBG_ERROR("Open socket error, %s(%d)", strerror(errno), errno);
        return fd;
    }
    if (ifName != nullptr && *ifName != '\0') {
        VOS_DBG_DEBUG("ifName = %s", ifName);
        ifreq request{};
        memcpy(request.ifr_name, ifName, strnlen(ifName, sizeof request.ifr_name));
        if (setsockopt(fd.get(), SOL_SOCKET, SO_BINDTODEVICE, &request, sizeof request) != 0) {
            VOS_DBG_ERROR("Bind socket to device error, %s(%d)", strerror(errno), errno);
            fd.reset();
            return fd;
        }
    }
    const Server wildcard = endpoint(family, nullptr);
    if (bind(fd.get(), &wildcard.any, wildcard.size) != 0) {
        VOS_DBG_ERROR("Bind socket error, %s(%d)", strerror(errno), errno);
        fd.reset();
    }
    return fd;
}

bool sendQuery(int fd, const Server &server, const char *hostName, uint16_t type) {
    uint8_t message[VOS_DNS_MESSAGE_SIZE] = {};
    const size_t size = buildQuery(message, hostName, type);
    if (size == 0) {
        VOS_DBG_ERROR("Invalid host name: %s", hostName);
        return false;
    }
    VOS_DBG_DEBUG("sendto %u bytes", static_cast<uint32_t>(size));
    if (sendto(fd, message, size, 0, &server.any, server.size) < 0) {
        VOS_DBG_ERROR("sendto fail, %s(%d)", strerror(errno), errno);
        return false;
    }
    return true;
}

bool receiveAnswer(int fd, char *hostIp, uint32_t hostIpLen) {
    pollfd waiting{.fd = fd, .events = POLLIN, .revents = 0};
    const int ready = poll(&waiting, 1, kTimeoutMs);
    if (ready < 0) {
        VOS_DBG_ERROR("select have some error:%d ,reson:%s\n", errno, strerror(errno));
        return false;
    }
    if (ready == 0) {
        VOS_DBG_ERROR("DNS timeout");
        return false;
    }
    uint8_t message[VOS_DNS_MESSAGE_SIZE] = {};
    if (recvfrom(fd, message, sizeof message, 0, nullptr, nullptr) < 0) {
        VOS_DBG_DEBUG("recvfrom fail, %s(%d)", strerror(errno), errno);
        return false;
    }
    if (message[kAnswerCountAt] == 0 && message[kAnswerCountAt + 1] == 0) {
        return false;
    }
    util_dnsDecodeResponse(message, hostIp, hostIpLen);
    VOS_DBG_DEBUG("Success: hostIp = %s", *hostIp != '\0' ? hostIp : "hostIp is empty string");
    return *hostIp != '\0';
}

VosRet query(int family, uint16_t type, const char *hostName, const char *ifName, const char *dnsIp, char *hostIp,
             uint32_t hostIpLen) {
    if (hostName == nullptr || dnsIp == nullptr || hostIp == nullptr || hostIpLen == 0) {
        VOS_DBG_ERROR("Invalid arguments, hostName = %p, dnsIp = %p, hostIp = %p", static_cast<const void *>(hostName),
                      static_cast<const void *>(dnsIp), static_cast<void *>(hostIp));
        return VOS_RET_BAD_ARG;
    }
    VOS_DBG_DEBUG("Enter: hostName = %s, dnsIp = %s, hostIpLen = %u", hostName, dnsIp, hostIpLen);
    const vos::UniqueFd fd = openSocket(family, ifName);
    if (!fd || !sendQuery(fd.get(), endpoint(family, dnsIp), hostName, type)) {
        return VOS_RET_ERROR;
    }
    if (!receiveAnswer(fd.get(), hostIp, hostIpLen)) {
        VOS_DBG_DEBUG("Fail");
        return VOS_RET_ERROR;
    }
    return VOS_RET_OK;
}

}  // namespace

VosRet UTIL_dnsDoQuery(const char *hostName, const char *ifName, const char *dnsIp, char *hostIp, uint32_t hostIpLen) {
    return query(AF_INET, VOS_DNS_TYPE_A, hostName, ifName, dnsIp, hostIp, hostIpLen);
}

VosRet UTIL_dnsDoIpv6Query(const char *hostName, const char *ifName, const char *dnsIp, char *hostIp,
                           uint32_t hostIpLen, uint8_t queryType) {
    return query(AF_INET6, queryType == kAskForIpv6 ? VOS_DNS_TYPE_AAAA : VOS_DNS_TYPE_A, hostName, ifName, dnsIp,
                 hostIp, hostIpLen);
}
