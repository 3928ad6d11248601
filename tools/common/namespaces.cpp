// Namespaces, mounts, the loopback interface.
#include "namespaces.h"

#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <string>
#include <system_error>

#include "internal/guards.h"

namespace fs = std::filesystem;

namespace vostool {

namespace {

[[noreturn]] void fail(const std::string &what) {
    throw std::system_error{errno, std::generic_category(), what};
}

void writeFile(const char *path, const std::string &text) {
    std::ofstream{path} << text;
}

// Root inside is who this process was outside.
void becomeRootInside(uid_t uid, gid_t gid) {
    writeFile("/proc/self/setgroups", "deny");
    writeFile("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
    writeFile("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
}

struct Kept {
    fs::path path;
    vos::UniqueFd fd;
};

// Binds what was opened before the directory was hidden to its old place.
void bringBack(const Kept &kept) {
    const std::string source = "/proc/self/fd/" + std::to_string(kept.fd.get());
    if (fs::is_directory(source)) {
        fs::create_directories(kept.path);
    } else {
        fs::create_directories(kept.path.parent_path());
        std::ofstream{kept.path};
    }
    if (mount(source.c_str(), kept.path.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) {
        fail("cannot keep " + kept.path.string());
    }
}

}  // namespace

void enterNamespaces(int spaces) {
    const uid_t uid = geteuid();
    const gid_t gid = getegid();
    if (unshare(spaces) != 0) {
        if (errno != EPERM || unshare(spaces | CLONE_NEWUSER) != 0) {
            fail("cannot create namespaces");
        }
        becomeRootInside(uid, gid);
    }
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        fail("cannot make mounts private");
    }
}

void hideDirectory(const fs::path &path, const std::vector<fs::path> &keep, const char *mode) {
    std::vector<Kept> kept;
    for (const fs::path &each : keep) {
        if (each.native().starts_with(path.native() + "/") && fs::exists(each)) {
            kept.push_back({each, vos::UniqueFd{open(each.c_str(), O_PATH | O_CLOEXEC)}});
        }
    }
    mountKernelFiles("tmpfs", path.c_str(), mode);
    for (const Kept &each : kept) {
        bringBack(each);
    }
}

void mountKernelFiles(const char *type, const char *path, const char *options) {
    if (mount(type, path, type, 0, options) != 0) {
        fail(std::string{"cannot mount a private "} + path);
    }
}

void raiseLoopback() {
    const vos::UniqueFd fd{socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    ifreq request{};
    strncpy(request.ifr_name, "lo", sizeof request.ifr_name - 1);
    request.ifr_flags = IFF_UP;
    if (!fd || ioctl(fd.get(), SIOCSIFFLAGS, &request) != 0) {
        fail("cannot bring the loopback interface up");
    }
}

}  // namespace vostool
