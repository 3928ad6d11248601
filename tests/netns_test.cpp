// Named network namespaces, with real ones made by the test.
#include "vos/netns.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>

#include <cstring>
#include <functional>
#include <set>
#include <vector>

#include "support/files.h"

namespace fs = std::filesystem;

namespace {

std::string namespaceId(const char *which = "net") {
    return fs::read_symlink(std::string{"/proc/self/ns/"} + which);
}

/** Runs `body` in a child; its exit value and what it wrote to standard error. */
std::pair<int, std::string> inChild(const std::function<int()> &body) {
    int fds[2];
    EXPECT_EQ(pipe(fds), 0);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(fds[1], STDERR_FILENO);
        _exit(body());
    }
    close(fds[1]);
    const std::string text = vostest::readToEnd(fds[0]);
    int status = -1;
    waitpid(pid, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text};
}

class NetnsTest : public testing::Test {
  protected:
    NetnsTest() {
        fs::create_directories("/run/netns");
        // A private /etc, in which the configuration directory may be made.
        EXPECT_EQ(mount("tmpfs", "/etc", "tmpfs", 0, nullptr), 0);
    }
    ~NetnsTest() override {
        umount2("/etc", MNT_DETACH);
        for (const std::string &name : names) {
            umount2(("/run/netns/" + name).c_str(), MNT_DETACH);
            unlink(("/run/netns/" + name).c_str());
        }
    }

    /** Makes a namespace; its identity. */
    std::string make(const std::string &name) {
        names.push_back(name);
        const fs::path file = "/run/netns/" + name;
        vostest::writeText(file, "");
        return inChild([&] {
                   unshare(CLONE_NEWNET);
                   fputs(namespaceId().c_str(), stderr);
                   return mount("/proc/self/ns/net", file.c_str(), nullptr, MS_BIND, nullptr);
               })
            .second;
    }

    std::vector<std::string> names;
};

TEST_F(NetnsTest, SwitchEntersTheNamespaceWithItsSysAndEtc) {
    const std::string id = make("wan");
    fs::create_directories("/etc/netns/wan");
    vostest::writeText("/etc/netns/wan/resolv.conf", "nameserver 10.0.0.1\n");
    vostest::writeText("/etc/netns/wan/orphan", "nothing to mount over");
    vostest::writeText("/etc/resolv.conf", "nameserver 127.0.0.1\n");
    const std::string mounts = namespaceId("mnt");
    const auto [status, text] = inChild([&] {
        const bool ok = netns_switch("wan") == 0 && namespaceId() == id && namespaceId("mnt") != mounts &&
                        fs::exists("/sys/class/net/lo") &&
                        vostest::readText("/etc/resolv.conf") == "nameserver 10.0.0.1\n";
        return ok ? 0 : 1;
    });
    EXPECT_EQ(status, 0) << text;
    EXPECT_EQ(text, "Bind /etc/netns/wan/orphan -> /etc/orphan failed: No such file or directory\n");
    EXPECT_EQ(vostest::readText("/etc/resolv.conf"), "nameserver 127.0.0.1\n") << "nothing leaks to the parent";
    EXPECT_EQ(inChild([] { return netns_switch("wan"); }).first, 0);
}

TEST_F(NetnsTest, SwitchSaysWhichStepFailed) {
    vostest::writeText("/run/netns/plain", "");
    make("lan");
    names.push_back("plain");
    // Cut to what a path may be, it would name a namespace.
    std::string tooLong = "/";
    while (tooLong.size() < 4095 - strlen("/var/run/netns/lan")) {
        tooLong += "./";
    }
    tooLong += "lander";
    const auto uncoverSys = [] {
        unshare(CLONE_NEWNS);
        mount("", "/", "none", MS_SLAVE | MS_REC, nullptr);
        while (umount2("/sys", MNT_DETACH) == 0) {
        }
    };
    const auto nothing = [] {};
    const std::tuple<std::string, std::string, void (*)()> kRows[] = {
        {"absent", "Cannot open network namespace \"absent\": No such file or directory\n", nothing},
        {"plain", "setting the network namespace \"plain\" failed: Invalid argument\n", nothing},
        {"lan", "umount of /sys failed: Invalid argument\n", uncoverSys},
        {tooLong, ("Cannot open network namespace \"" + tooLong).substr(0, 1023), nothing},
    };
    for (const auto &[name, text, prepare] : kRows) {
        const auto failing = [&path = name, &first = prepare] {
            return first(), netns_switch(path.c_str()) == -1 ? 0 : 1;
        };
        EXPECT_EQ(inChild(failing), std::pair(0, text)) << name;
    }
}

TEST_F(NetnsTest, OpensByNameOrPath) {
    make("lan");
    for (const char *which : {"lan", "/proc/self/ns/net"}) {
        EXPECT_EQ(close(netns_get_fd(which)), 0) << which;
    }
    EXPECT_EQ(netns_get_fd("absent"), -1);
    EXPECT_EQ(netns_get_fd(std::string(5000, 'n').c_str()), -1);
}

TEST_F(NetnsTest, WalkStopsWhenTheCallbackSaysSo) {
    vostest::writeText("/run/netns/a", "");
    vostest::writeText("/run/netns/b", "");
    names = {"a", "b"};
    std::set<std::string> seen;
    const auto collect = [](char *name, void *arg) {
        return static_cast<std::set<std::string> *>(arg)->insert(name).second ? 0 : 1;
    };
    EXPECT_EQ(netns_foreach(collect, &seen), 0);
    EXPECT_EQ(seen, (std::set<std::string>{"a", "b"}));
    int calls = 0;
    const auto stop = [](char *, void *arg) { return ++*static_cast<int *>(arg); };
    EXPECT_EQ(netns_foreach(stop, &calls), 0);
    EXPECT_EQ(calls, 1);
    fs::remove_all("/run/netns");
    EXPECT_EQ(netns_foreach(stop, &calls), -1);
}

}  // namespace
