// Neighbours: the bridge's forwarding table and the ARP table.
#include <net/if.h>
#include <array>
#include <cerrno>
#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/read_line.h"
#include "internal/text_room.h"
#include "vos/netif.h"
#include "vos/text.h"

namespace {

constexpr const char *kBridge = "br0";
constexpr const char *kForwardingFormat = "/sys/class/net/%s/brforward";
constexpr const char *kArpFile = "/proc/net/arp";
constexpr size_t kRecordSize = 16;
constexpr size_t kPortIndexAt = 13;
constexpr uint32_t kMacTextSize = 18;
constexpr size_t kArpLineSize = 256;
constexpr size_t kArpMacField = 3;

using Record = std::array<uint8_t, kRecordSize>;

// The port of one record when it belongs to the MAC address.
bool portOf(const Record &record, const char *macText, char port[IF_NAMESIZE]) {
    if (if_indextoname(record[kPortIndexAt], port) == nullptr) {
        if (errno == ENXIO) {
            VOS_DBG_ERROR(" %s get Br0LanInterFace error !", "UTIL_getLanInterFace");
        }
        return false;
    }
    char text[kMacTextSize];
    util_snprintf(__func__, __LINE__, text, sizeof text, "%.2x:%.2x:%.2x:%.2x:%.2x:%.2x", record[0], record[1],
                  record[2], record[3], record[4], record[5]);
    return util_strcasecmp(text, macText) == 0;
}

bool findPort(const char *macText, char port[IF_NAMESIZE]) {
    char path[64];
    util_snprintf(__func__, __LINE__, path, sizeof path, kForwardingFormat, kBridge);
    const vos::UniqueFile file{fopen(path, "re")};
    if (!file) {
        VOS_DBG_ERROR("open file %s fail !", path);
        return false;
    }
    Record record;
    while (fread(record.data(), record.size(), 1, file.get()) == 1) {
        if (portOf(record, macText, port)) {
            return true;
        }
    }
    return false;
}

}  // namespace

int UTIL_getLanInterFace(const char *macText, char *ifNameOut, uint32_t size) {
    if (ifNameOut == nullptr || size == 0) {
        return 0;
    }
    char port[IF_NAMESIZE];
    if (findPort(macText, port)) {
        util_strncpy(__func__, __LINE__, ifNameOut, port, vos::textRoom(size));
        VOS_DBG_DEBUG("ifcName = %s", ifNameOut);
    }
    if (*ifNameOut == '\0') {
        util_strncpy(__func__, __LINE__, ifNameOut, kBridge, vos::textRoom(size));
    }
    return 0;
}

int UTIL_getMacAddrFromArpByIp(const char *ipText, char *macOut, uint32_t size) {
    if (ipText == nullptr || macOut == nullptr || size == 0) {
        return -1;
    }
    const vos::UniqueFile file{fopen(kArpFile, "re")};
    if (!file) {
        VOS_DBG_ERROR("%s: open file /proc/net/arp failed ", __func__);
        return -1;
    }
    char line[kArpLineSize];
    bool heading = true;
    for (;;) {
        const vos::Line kind = vos::readLine(file.get(), line, sizeof line);
        if (kind == vos::Line::kNone) {
            VOS_DBG_ERROR("Get IP addr from ARP failed");
            return -1;
        }
        if (heading || kind == vos::Line::kUnfinished) {
            heading = false;
            continue;
        }
        char *rest = nullptr;
        const char *ip = strtok_r(line, " ", &rest);
        const char *field = ip;
        for (size_t i = 0; i < kArpMacField && field != nullptr; i++) {
            field = strtok_r(nullptr, " ", &rest);
        }
        if (field != nullptr && util_strcasecmp(ip, ipText) == 0) {
            util_strncpy(__func__, __LINE__, macOut, field, vos::textRoom(size));
            VOS_DBG_WARN("IP %s, pMacAddr %s", ipText, macOut);
            return 0;
        }
    }
}
