// CPU and memory occupancy from the kernel's process file system.
#include "vos/load.h"

#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "internal/dbg.h"
#include "internal/guards.h"

namespace {

constexpr size_t kLineSize = 256;
constexpr size_t kMaxKeyLength = 32;  // with its colon

uint64_t countedTicks(const UtilCpuOccupy &snap) {
    return snap.user + snap.nice + snap.system + snap.idle + snap.iowait + snap.irq + snap.softirq;
}

struct MemKey {
    std::string_view name;
    UtilMemEntry UtilMemOccupy::*entry;
};
constexpr std::array<MemKey, 4> kMemKeys{{{"MemTotal", &UtilMemOccupy::memTotal},
                                          {"MemFree", &UtilMemOccupy::memFree},
                                          {"Buffers", &UtilMemOccupy::buffers},
                                          {"Cached", &UtilMemOccupy::cached}}};

// Takes one line's figure; true once the last key of interest has been read.
bool takeMemLine(char *line, UtilMemOccupy *mem) {
    char *colon = strchr(line, ':');
    if (colon == nullptr) {
        return false;
    }
    *colon = '\0';
    const std::string_view key{line, static_cast<size_t>(colon - line)};
    if (key.size() + 1 > kMaxKeyLength) {
        VOS_DBG_ERROR("Unknown key name: %s", line);
        return false;
    }
    for (const MemKey &known : kMemKeys) {
        if (key == known.name) {
            UtilMemEntry &entry = mem->*known.entry;
            memcpy(entry.name, key.data(), key.size());
            entry.value = static_cast<uint32_t>(strtoul(colon + 1, nullptr, 0));
            return &known == &kMemKeys.back();
        }
    }
    return false;
}

}  // namespace

int UTIL_getCpuOccupy(UtilCpuOccupy *snap) {
    if (snap == nullptr) {
        return -1;
    }
    const vos::UniqueFile file{fopen("/proc/stat", "re")};
    if (!file) {
        VOS_DBG_ERROR("fopen /proc/stat fail");
        return -1;
    }
    char line[kLineSize];
    if (fgets(line, sizeof line, file.get()) == nullptr ||
        sscanf(line,
               "%23s %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64
               " %" SCNu64,
               snap->name, &snap->user, &snap->nice, &snap->system, &snap->idle, &snap->iowait, &snap->irq,
               &snap->softirq, &snap->steal, &snap->guest) == EOF) {
        VOS_DBG_ERROR("sscanf /proc/stat fail");
        return -1;
    }
    return 0;
}

uint32_t UTIL_calCpuOccupy(const UtilCpuOccupy *older, const UtilCpuOccupy *newer) {
    if (older == nullptr || newer == nullptr) {
        return 0;
    }
    const uint64_t total = countedTicks(*newer) - countedTicks(*older);
    if (total == 0) {
        return 0;
    }
    const uint64_t busy = total - (newer->idle - older->idle);
    // Contract: the product is a signed 32-bit number; the percentage of very long intervals is off by that.
    const auto product = static_cast<int32_t>(100 * busy);
    return static_cast<uint32_t>(product / static_cast<int64_t>(total));
}

int UTIL_getMemOccupy(UtilMemOccupy *mem) {
    if (mem == nullptr) {
        return -1;
    }
    *mem = {};
    const vos::UniqueFile file{fopen("/proc/meminfo", "re")};
    if (!file) {
        VOS_DBG_ERROR("fopen /proc/meminfo fail");
        return -1;
    }
    char line[kLineSize];
    while (fgets(line, sizeof line, file.get()) != nullptr && !takeMemLine(line, mem)) {
    }
    return 0;
}
