// The kernel's tables of neighbours, bridge ports and IPv6 addresses, as a broken kernel module might write them. The
// target covers /proc/net and /sys by directories of its own, in which one file stands for all.
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vos/netif.h"

namespace {

constexpr const char *kFile = "/proc/net/arp";
int g_fd = -1;

void prepare() {
    const int spaces = CLONE_NEWNS | CLONE_NEWNET | (geteuid() == 0 ? 0 : CLONE_NEWUSER);
    const auto cover = [](const char *directory) { return mount("tmpfs", directory, "tmpfs", 0, nullptr) == 0; };
    if (unshare(spaces) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        !cover("/proc/net") || !cover("/sys") || mkdir("/sys/class", 0755) != 0 || mkdir("/sys/class/net", 0755) != 0 ||
        mkdir("/sys/class/net/br0", 0755) != 0 || symlink(kFile, "/proc/net/if_inet6") != 0 ||
        symlink(kFile, "/sys/class/net/br0/brforward") != 0 ||
        (g_fd = open(kFile, O_RDWR | O_CREAT | O_CLOEXEC, 0600)) < 0) {
        perror("private namespaces");
        exit(1);
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    prepare();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (ftruncate(g_fd, 0) != 0 || pwrite(g_fd, data, size, 0) != static_cast<ssize_t>(size)) {
        abort();
    }
    char text[VOS_IF_ADDR6_SIZE] = "";
    UTIL_getMacAddrFromArpByIp("192.168.1.1", text, 18);
    text[0] = '\0';
    UTIL_getLanInterFace("02:00:00:00:00:01", text, 16);
    uint32_t length = 0;
    UTIL_getGloballyUniqueIfAddr6("br0", text, &length);
    return strlen(text) < sizeof text ? 0 : (abort(), 0);
}
