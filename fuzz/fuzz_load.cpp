// CPU and memory figures from whatever stands in the place of /proc/stat and /proc/meminfo.
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vos/load.h"

namespace {

constexpr const char *kStat = "/proc/stat";
constexpr const char *kMemInfo = "/proc/meminfo";
int g_fd = -1;

void check(bool ok) {
    if (!ok) {
        abort();
    }
}

}  // namespace

// One file stands in both places, in a mount namespace of this process.
extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    const char *path = "/mnt/contents";
    if (unshare(geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) != 0 ||
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/mnt", "tmpfs", 0, nullptr) != 0 ||
        (g_fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600)) < 0 ||
        mount(path, kStat, nullptr, MS_BIND, nullptr) != 0 || mount(path, kMemInfo, nullptr, MS_BIND, nullptr) != 0) {
        perror("fuzz_load");
        exit(1);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    check(ftruncate(g_fd, 0) == 0 && pwrite(g_fd, data, size, 0) == static_cast<ssize_t>(size));

    UtilCpuOccupy cpu{};
    const int result = UTIL_getCpuOccupy(&cpu);
    check(result == 0 || result == -1);
    check(memchr(cpu.name, 0, sizeof cpu.name) != nullptr);
    const UtilCpuOccupy none{};
    UTIL_calCpuOccupy(&none, &cpu);
    UTIL_calCpuOccupy(&cpu, &none);

    UtilMemOccupy memory;
    memset(&memory, 0xFF, sizeof memory);
    check(UTIL_getMemOccupy(&memory) == 0);
    const struct {
        const UtilMemEntry &entry;
        const char *key;
    } entries[] = {{memory.memTotal, "MemTotal"},
                   {memory.memFree, "MemFree"},
                   {memory.buffers, "Buffers"},
                   {memory.cached, "Cached"}};
    for (const auto &[entry, key] : entries) {
        check(entry.name[0] == '\0' ? entry.value == 0 : strcmp(entry.name, key) == 0);
    }
    return 0;
}
