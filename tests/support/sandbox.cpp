// Entry point of every test binary: private namespaces first, then GoogleTest.
#include "support/sandbox.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string_view>

#include "common/namespaces.h"

namespace fs = std::filesystem;
using vostool::hideDirectory;

namespace vostest {

void enterSandbox() {
    const fs::path cwd = fs::current_path();
    const char *emulatorsLibraries = getenv("QEMU_LD_PREFIX");
    const fs::path sysroot = emulatorsLibraries == nullptr ? "" : emulatorsLibraries;
    vostool::enterNamespaces(CLONE_NEWNS | CLONE_NEWIPC | CLONE_NEWNET | CLONE_NEWUTS);
    hideDirectory("/tmp", {VOS_TEST_BUILD_DIR, VOS_TEST_SOURCE_DIR, sysroot});
    hideDirectory("/var", {"/var/lib", VOS_TEST_BUILD_DIR, VOS_TEST_SOURCE_DIR, sysroot});
    fs::create_directory("/var/tmp");
    fs::create_directory_symlink("/run", "/var/run");
    hideDirectory("/run", {});
    fs::create_directory("/run/netns");
    // Nobody but its owner creates files there: the kernel's protection of sticky directories would keep shells from
    // opening /dev/null.
    hideDirectory("/dev", {"/dev/null", "/dev/zero", "/dev/full", "/dev/random", "/dev/urandom", "/dev/tty"},
                  "mode=755");
    // Pseudo-terminals of its own: a bound /dev/ptmx would not find the /dev/pts beside it.
    fs::create_directory("/dev/pts");
    vostool::mountKernelFiles("devpts", "/dev/pts", "newinstance,ptmxmode=0666,mode=0620");
    fs::create_symlink("pts/ptmx", "/dev/ptmx");
    fs::create_symlink("/proc/self/fd", "/dev/fd");
    fs::create_directory("/dev/shm");
    vostool::raiseLoopback();
    // Shows the private interfaces, and may be taken away again.
    vostool::mountKernelFiles("sysfs", "/sys");
    std::error_code gone;
    fs::current_path(cwd, gone);
    if (gone) {
        fs::current_path("/tmp");
    }
}

}  // namespace vostest

int main(int argc, char **argv) {
    try {
        if (std::none_of(argv, argv + argc, [](std::string_view word) { return word == "--gtest_list_tests"; })) {
            vostest::enterSandbox();
        }
    } catch (const std::exception &error) {
        fprintf(stderr, "sandbox: %s\n", error.what());
        return 2;
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
