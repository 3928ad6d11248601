// Entry point of every test binary: private namespaces first, then GoogleTest.
#include "support/sandbox.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fail(const char *what) {
    fprintf(stderr, "sandbox: %s: %s\n", what, strerror(errno));
    exit(2);
}

void writeFile(const char *path, const std::string &text) {
    std::ofstream{path} << text;
}

void unshareAll() {
    const int spaces = CLONE_NEWNS | CLONE_NEWIPC | CLONE_NEWNET | CLONE_NEWUTS;
    const uid_t uid = geteuid();
    const gid_t gid = getegid();
    if (unshare(uid == 0 ? spaces : spaces | CLONE_NEWUSER) != 0) {
        fail("unshare");
    }
    if (uid != 0) {
        writeFile("/proc/self/setgroups", "deny");
        writeFile("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
        writeFile("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
    }
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        fail("make mounts private");
    }
}

// Puts an empty directory in the place of `path` and brings back what the tests need from below it.
void replaceDirectory(const char *path, std::initializer_list<fs::path> keep, const char *mode = "mode=1777") {
    struct Kept {
        fs::path path;
        int fd;
    };
    std::vector<Kept> kept;
    for (const fs::path &p : keep) {
        if (p.native().starts_with(std::string{path} + "/") && fs::exists(p)) {
            kept.push_back({p, open(p.c_str(), O_PATH | O_CLOEXEC)});
        }
    }
    if (mount("tmpfs", path, "tmpfs", 0, mode) != 0) {
        fail(path);
    }
    for (const Kept &k : kept) {
        const std::string source = "/proc/self/fd/" + std::to_string(k.fd);
        if (fs::is_directory(source)) {
            fs::create_directories(k.path);
        } else {
            fs::create_directories(k.path.parent_path());
            std::ofstream{k.path};
        }
        if (mount(source.c_str(), k.path.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) {
            fail(k.path.c_str());
        }
        close(k.fd);
    }
}

// Pseudo-terminals of its own: a bound /dev/ptmx would not find the /dev/pts beside it.
void mountTerminals() {
    fs::create_directory("/dev/pts");
    if (mount("devpts", "/dev/pts", "devpts", 0, "newinstance,ptmxmode=0666,mode=0620") != 0) {
        fail("/dev/pts");
    }
    fs::create_symlink("pts/ptmx", "/dev/ptmx");
}

void loopbackUp() {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    strncpy(request.ifr_name, "lo", sizeof request.ifr_name - 1);
    request.ifr_flags = IFF_UP;
    if (fd < 0 || ioctl(fd, SIOCSIFFLAGS, &request) != 0) {
        fail("loopback up");
    }
    close(fd);
}

bool listsOnly(int argc, char **argv) {
    for (int i = 1; i < argc; i++) {
        if (strcmp(argv[i], "--gtest_list_tests") == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

namespace vostest {

void enterSandbox() {
    const fs::path cwd = fs::current_path();
    const char *emulatorsLibraries = getenv("QEMU_LD_PREFIX");
    const fs::path sysroot = emulatorsLibraries == nullptr ? "" : emulatorsLibraries;
    unshareAll();
    replaceDirectory("/tmp", {VOS_TEST_BUILD_DIR, VOS_TEST_SOURCE_DIR, sysroot});
    replaceDirectory("/var", {"/var/lib", VOS_TEST_BUILD_DIR, VOS_TEST_SOURCE_DIR, sysroot});
    fs::create_directory("/var/tmp");
    fs::create_directory_symlink("/run", "/var/run");
    replaceDirectory("/run", {});
    fs::create_directory("/run/netns");
    // Nobody but its owner creates files there: the kernel's protection of sticky directories would keep shells from
    // opening /dev/null.
    replaceDirectory("/dev", {"/dev/null", "/dev/zero", "/dev/full", "/dev/random", "/dev/urandom", "/dev/tty"},
                     "mode=755");
    mountTerminals();
    fs::create_symlink("/proc/self/fd", "/dev/fd");
    fs::create_directory("/dev/shm");
    loopbackUp();
    // Shows the private interfaces, and may be taken away again.
    if (mount("sysfs", "/sys", "sysfs", 0, nullptr) != 0) {
        fail("/sys");
    }
    if (chdir(cwd.c_str()) != 0 && chdir("/tmp") != 0) {
        fail("chdir");
    }
}

}  // namespace vostest

int main(int argc, char **argv) {
    if (!listsOnly(argc, argv)) {
        vostest::enterSandbox();
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
