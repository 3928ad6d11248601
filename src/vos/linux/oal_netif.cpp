// IPv6 addresses of an interface from the kernel's table.
#include <array>
#include <cstdlib>
#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/read_line.h"
#include "vos/netif.h"

namespace {

constexpr const char *kTable = "/proc/net/if_inet6";
constexpr size_t kLineSize = 256;
constexpr size_t kAddressDigits = 32;
constexpr size_t kGroupDigits = 4;

enum Field : size_t { kAddress, kIndex, kPrefixLen, kScope, kFlags, kDevice, kFieldCount };
using Fields = std::array<const char *, kFieldCount>;

bool split(char *line, Fields *fields) {
    char *rest = line;
    for (const char *&field : *fields) {
        field = strtok_r(nullptr, " ", &rest);
        if (field == nullptr) {
            return false;
        }
    }
    return strlen((*fields)[kAddress]) == kAddressDigits;
}

uint32_t hexadecimal(const char *text) {
    return static_cast<uint32_t>(strtoul(text, nullptr, 16));
}

void writeAddress(const char *digits, char *out) {
    for (size_t i = 0; i < kAddressDigits; i += kGroupDigits) {
        memcpy(out, digits + i, kGroupDigits);
        out[kGroupDigits] = ':';
        out += kGroupDigits + 1;
    }
    out[-1] = '\0';
}

}  // namespace

VosRet oal_getIfAddr6(const char *ifName, uint32_t index, char *addrOut, uint32_t *ifIndex, uint32_t *prefixLen,
                      uint32_t *scope, uint32_t *flags) {
    if (ifName == nullptr || addrOut == nullptr || ifIndex == nullptr || prefixLen == nullptr || scope == nullptr ||
        flags == nullptr) {
        return VOS_RET_ERROR;
    }
    *addrOut = '\0';
    const vos::UniqueFile file{fopen(kTable, "re")};
    if (!file) {
        VOS_DBG_ERROR("failed to open /proc/net/if_inet6");
        return VOS_RET_ERROR;
    }
    char line[kLineSize];
    uint32_t seen = 0;
    for (;;) {
        const vos::Line kind = vos::readLine(file.get(), line, sizeof line);
        if (kind == vos::Line::kNone) {
            return VOS_RET_NOTHING_FOUND;
        }
        if (kind != vos::Line::kWhole || strstr(line, ifName) == nullptr) {
            continue;
        }
        Fields fields;
        if (!split(line, &fields)) {
            VOS_DBG_ERROR("Invalid /proc/net/if_inet6 line");
            return VOS_RET_ERROR;
        }
        if (strcmp(fields[kDevice], ifName) != 0 || seen++ < index) {
            continue;
        }
        *ifIndex = hexadecimal(fields[kIndex]);
        *prefixLen = hexadecimal(fields[kPrefixLen]);
        *scope = hexadecimal(fields[kScope]);
        *flags = hexadecimal(fields[kFlags]);
        writeAddress(fields[kAddress], addrOut);
        return VOS_RET_OK;
    }
}
