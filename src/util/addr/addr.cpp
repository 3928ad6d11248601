// IP addresses as text: validation, prefixes, interface identifiers.
#include "vos/addr.h"

#include <arpa/inet.h>
#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/text_room.h"
#include "vos/text.h"

namespace {

constexpr size_t kMinIpv4Text = 7;
constexpr size_t kMaxIpv4Text = 15;
constexpr size_t kOctets = 4;
constexpr size_t kMaxAddressText = 40;  // an address text is shorter
constexpr size_t kAddressText = 64;     // work buffer
constexpr size_t kInterfaceIdBytes = 8;
constexpr uint32_t kMaxPrefix = 128;
constexpr std::array<std::string_view, 4> kZeroIpv6{"0:0:0:0:0:0:0:0", "::", "::/128", "::/0"};

struct Ipv6 {
    std::array<uint8_t, 16> bytes;
};

// Splits an IPv4 text at runs of dots, one number a call.
class OctetReader {
  public:
    /** False for a text that cannot be one by its length. */
    bool open(const char *str) {
        if (str == nullptr) {
            return false;
        }
        const size_t length = strnlen(str, sizeof work_);
        if (length < kMinIpv4Text || length > kMaxIpv4Text) {
            return false;
        }
        memcpy(work_, str, length + 1);
        next_ = strtok_r(work_, ".", &rest_);
        return true;
    }
    bool atEnd() const { return next_ == nullptr; }
    /** The next number; false for a bad or missing one. */
    bool read(uint8_t *octet) {
        uint32_t value = 0;
        const VosRet ret = util_strtoul(next_, nullptr, 10, &value);
        if (ret != VOS_RET_OK || value > UINT8_MAX) {
            return false;
        }
        *octet = static_cast<uint8_t>(value);
        next_ = strtok_r(nullptr, ".", &rest_);
        return true;
    }

  private:
    char work_[kMaxIpv4Text + 1];
    char *next_ = nullptr;
    char *rest_ = nullptr;
};

bool parse(const char *text, Ipv6 *address) {
    return text != nullptr && inet_pton(AF_INET6, text, address->bytes.data()) == 1;
}

// An address with or without a prefix length.
bool parseWithLength(const char *text, uint32_t addrSize, Ipv6 *address, uint32_t *plen) {
    char addr[kAddressText];
    return util_parsePrefixAddress(text, addr, addrSize, plen) == VOS_RET_OK && parse(addr, address);
}

VosRet print(const Ipv6 &address, char *out, socklen_t size) {
    if (inet_ntop(AF_INET6, address.bytes.data(), out, size) == nullptr) {
        VOS_DBG_ERROR("inet_ntop returns NULL");
        return VOS_RET_ERROR;
    }
    return VOS_RET_OK;
}

void keepPrefix(Ipv6 *address, uint32_t plen) {
    const size_t group = plen / 16;
    const uint32_t bits = plen % 16;
    const uint32_t mask = bits == 0 ? 0 : 0xFFFFu << (16 - bits) & 0xFFFF;
    // Contract: the group's bytes are masked in exchanged order, wrong as it is for odd lengths.
    address->bytes[2 * group] &= static_cast<uint8_t>(mask);
    address->bytes[2 * group + 1] &= static_cast<uint8_t>(mask >> 8);
    std::fill(address->bytes.begin() + static_cast<ptrdiff_t>(2 * (group + 1)), address->bytes.end(), uint8_t{0});
}

}  // namespace

bool util_isValidIpv4Address(const char *str) {
    OctetReader reader;
    if (!reader.open(str)) {
        return false;
    }
    size_t count = 0;
    for (uint8_t octet = 0; !reader.atEnd(); count++) {
        if (!reader.read(&octet)) {
            return false;
        }
    }
    return count == kOctets;
}

bool util_ipStrToOctets(const char *str, uint8_t *octets) {
    OctetReader reader;
    if (octets == nullptr || !reader.open(str)) {
        return false;
    }
    return std::all_of(octets, octets + kOctets, [&reader](uint8_t &octet) { return reader.read(&octet); });
}

bool util_isValidIpAddress(int32_t family, const char *str) {
    if (str == nullptr || *str == '\0') {
        return false;
    }
    if (family == AF_INET) {
        return util_isValidIpv4Address(str);
    }
    if (family != AF_INET6) {
        return false;
    }
    Ipv6 address;
    uint32_t plen = 0;
    if (!parseWithLength(str, kAddressText, &address, &plen)) {
        VOS_DBG_DEBUG("Invalid ipv6 address=%s", str);
        return false;
    }
    return true;
}

VosRet util_parsePrefixAddress(const char *prefixAddr, char *addr, uint32_t addrLen, uint32_t *plen) {
    if (prefixAddr == nullptr || addr == nullptr || plen == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    VOS_DBG_DEBUG("prefixAddr=%s", prefixAddr);
    if (addrLen > 0) {
        *addr = '\0';
    }
    *plen = kMaxPrefix;
    const vos::MemPtr<char> work{vosMem_strdup(prefixAddr, __func__, __LINE__)};
    if (!work) {
        VOS_DBG_ERROR("alloc of %d bytes failed", static_cast<int>(strlen(prefixAddr) + 1));
        return VOS_RET_ERROR;
    }
    if (char *slash = strchr(work.get(), '/'); slash != nullptr) {
        *slash = '\0';
        // A length beyond 32 bits must not come back as a short one.
        *plen = static_cast<uint32_t>(std::clamp<long>(strtol(slash + 1, nullptr, 10), INT32_MIN, INT32_MAX));
        VOS_DBG_DEBUG("plen=%d", static_cast<int>(*plen));
    }
    VOS_DBG_DEBUG("address=%s", work.get());
    if (strlen(work.get()) >= kMaxAddressText || *plen > kMaxPrefix) {
        return VOS_RET_BAD_ARG;
    }
    util_strncpy(__func__, __LINE__, addr, work.get(), vos::textRoom(addrLen));
    return VOS_RET_OK;
}

VosRet util_getAddrPrefix(const char *addr, uint32_t plen, char *out) {
    if (addr == nullptr || out == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    if (plen > kMaxPrefix) {
        VOS_DBG_ERROR("Invalid plen=%d", static_cast<int>(plen));
        return VOS_RET_BAD_ARG;
    }
    if (plen == kMaxPrefix) {
        util_strncpy(__func__, __LINE__, out, addr, VOS_ADDR_TEXT_SIZE);
        return VOS_RET_OK;
    }
    Ipv6 address;
    if (!parse(addr, &address)) {
        VOS_DBG_ERROR("Invalid address=%s", addr);
        return VOS_RET_BAD_ARG;
    }
    keepPrefix(&address, plen);
    return print(address, out, VOS_ADDR_TEXT_SIZE);
}

VosRet util_replaceEui64(const char *src, char *dst) {
    if (src == nullptr || dst == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    Ipv6 source;
    Ipv6 target;
    for (const auto &[text, address] : {std::pair<const char *, Ipv6 *>{src, &source}, {dst, &target}}) {
        if (!parse(text, address)) {
            VOS_DBG_ERROR("Invalid address=%s", text);
            return VOS_RET_BAD_ARG;
        }
    }
    std::copy(source.bytes.end() - kInterfaceIdBytes, source.bytes.end(), target.bytes.end() - kInterfaceIdBytes);
    return print(target, dst, kMaxAddressText);
}

VosRet util_standardizeIp6Addr(const char *in, char *out, uint32_t outLen) {
    if (in == nullptr || out == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    Ipv6 address;
    uint32_t plen = 0;
    if (!parseWithLength(in, kMaxAddressText, &address, &plen)) {
        VOS_DBG_ERROR("Invalid ipv6 address=%s", in);
        return VOS_RET_BAD_ARG;
    }
    const bool hasLength = strchr(in, '/') != nullptr;
    if (print(address, out, std::min<socklen_t>(outLen, kMaxAddressText)) != VOS_RET_OK) {
        return VOS_RET_NO_RESOURCE;
    }
    if (hasLength) {
        char suffix[16];
        util_snprintf(__func__, __LINE__, suffix, sizeof suffix, "/%d", static_cast<int>(plen));
        util_strncat(__func__, __LINE__, out, suffix, vos::textRoom(outLen));
    }
    return VOS_RET_OK;
}

bool util_isGUAorULA(const char *addr) {
    if (addr == nullptr) {
        return false;
    }
    Ipv6 address;
    uint32_t plen = 0;
    if (!parseWithLength(addr, kMaxAddressText, &address, &plen)) {
        VOS_DBG_ERROR("Invalid ipv6 address=%s", addr);
        return false;
    }
    return (address.bytes[0] & 0xE0) == 0x20 || (address.bytes[0] & 0xFE) == 0xFC;
}

bool util_isZeroIpvxAddress(uint32_t familyFlags, const char *str) {
    if (str == nullptr || *str == '\0') {
        return true;
    }
    const std::string_view text{str};
    return ((familyFlags & VOS_ADDR_IPV4) != 0 && text == "0.0.0.0") ||
           ((familyFlags & VOS_ADDR_IPV6) != 0 &&
            std::find(kZeroIpv6.begin(), kZeroIpv6.end(), text) != kZeroIpv6.end());
}
