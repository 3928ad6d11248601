// Every descriptor that the library asks for is refused once: the call gives the code that its header names and leaks
// none of the others.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "support/fault.h"
#include "support/files.h"
#include "support/hub_process.h"
#include "support/udp_server.h"
#include "vos/vos.h"

using vostest::of;
using vostest::Probe;
using vostest::result;
namespace fs = std::filesystem;

namespace {

constexpr int64_t kOk = VOS_RET_OK;
constexpr int64_t kError = VOS_RET_ERROR;

// What calls write to and nobody reads.
uint8_t g_bytes[64];
char g_text[64];
uint32_t g_length, g_index, g_scope, g_flags;

void check(const std::vector<Probe> &probes) {
    vostest::failEach(vostest::Resource::kDescriptor, probes);
}

TEST(OutOfDescriptors, Files) {
    const vostest::TempDir dir;
    const std::string file = (dir / "file").string();
    const std::string other = (dir / "other").string();
    const std::string tree = (dir / "tree").string();
    vostest::writeText(file, "Name: x\n");
    const auto onTree = [&tree](auto call) {
        return [=] {
            fs::create_directories(tree + "/a/b");
            return result([&] { return call(tree.c_str()); });
        };
    };
    const auto read = [&] {
        g_length = sizeof g_bytes;
        return utilFil_copyToBuffer(file.c_str(), g_bytes, &g_length);
    };
    const auto mapped = [&] { return vomMem_mapFile2Mem(other.c_str(), 4096); };
    const auto unmap = [](void *map) { munmap(map, 4096); };
    check({
        {"read", kOk, {kError}, of(read)},
        {"write", kOk, {kError}, of([&] { return utilFil_writeToProc(file.c_str(), "Name: x\n"); })},
        {"create", kOk, {kError}, of([&] { return utilFil_writeBufferToFile(other.c_str(), g_bytes, 1); })},
        {"remove a tree", kOk, {kOk}, onTree(utilFil_removeDir)},
        {"own a tree", kOk, {kOk}, onTree([](const char *path) { return utilFil_chownDir(path, getuid()); })},
        {"map", 1, {0}, of(mapped, unmap)},
        {"description", kOk, {VOS_RET_OPEN_FAILED}, of([&] {
             return UTIL_pluginGetInfoName(file.c_str(), g_text, 16);
         })},
    });
    EXPECT_EQ(vostest::readText(file), "Name: x\n");
}

TEST(OutOfDescriptors, XmlAndLoad) {
    const vostest::TempDir dir;
    const std::string file = (dir / "xml").string();
    vostest::writeText(file, "<a></a>");
    static const XmlNode rows[] = {{nullptr, "a", nullptr, nullptr}, {}};
    const XmlTables tables{rows, nullptr};
    UtilMemOccupy memory{};
    UtilCpuOccupy times{};
    check({{"parse", 0, {1}, of([&] { return parseGeneric(file.c_str(), nullptr, 0, &tables); })},
           {"memory figures", 0, {-1}, of([&] { return UTIL_getMemOccupy(&memory); })},
           {"processor times", 0, {-1}, of([&] { return UTIL_getCpuOccupy(&times); })}});
}

TEST(OutOfDescriptors, Network) {
    fs::create_directories("/run/netns");
    vostest::writeText("/run/netns/one", "");
    // Its own query is an answer without addresses.
    const vostest::UdpServer nameServer{AF_INET, [](const std::string &query) { return query; }};
    const auto enter = [] {
        const auto fd = static_cast<int>(result([] { return netns_get_fd("one"); }));
        return fd >= 0 ? close(fd) : -1;
    };
    const auto query = [] {
        g_text[0] = '\0';
        return UTIL_dnsDoQuery("a.b", "", "127.0.0.1", g_text, sizeof g_text);
    };
    const auto address6 = [] { return oal_getIfAddr6("lo", 0, g_text, &g_index, &g_length, &g_scope, &g_flags); };
    check({
        {"IPv4 address", 1, {0}, of([] { return UTIL_getIfAddr("lo", g_text, sizeof g_text); })},
        {"existence", 1, {0}, of([] { return UTIL_isInterfaceExisted("lo"); })},
        {"state", kOk, {kError}, of([] { return UTIL_checkInterfaceUp("lo", g_bytes); })},
        {"hardware address", 0, {0}, of([] { return UTIL_getIfMacAddr("lo", g_bytes); })},
        {"IPv6 address", kOk, {kError}, of(address6)},
        {"neighbour", -1, {-1}, of([] { return UTIL_getMacAddrFromArpByIp("10.9.8.7", g_text, sizeof g_text); })},
        {"DNS", kError, {kError}, of(query)},
        {"namespace", 0, {-1}, enter},
        {"namespaces", 0, {-1}, of([] { return netns_foreach([](char *, void *) { return 0; }, nullptr); })},
    });
}

TEST(OutOfDescriptors, Processes) {
    PrctlSpawnRequest request{};
    request.exe = "/bin/true";
    request.timeoutMs = 10000;
    request.stdinFd = request.stdoutFd = request.stderrFd = request.serverFd = -1;
    request.spawnMode = PRCTL_SPAWN_AND_WAIT;
    request.usePty = 1;
    const auto spawn = [&] {
        PrctlProcessResult child{};
        const int64_t ret = result([&] { return prctl_spawnProcess(&request, &child); });
        if (child.pid > 0 && child.ptyFd > 0) {
            close(child.ptyFd);
        }
        return child.pid > 0 ? ret : -1;
    };
    check({{"spawn on a terminal", kOk, {-1}, spawn},
           {"process id by name", 0, {0}, of([] { return prctl_getPidByName("no such"); })},
           {"command's output", 1, {0}, of([] { return UTIL_commSystemEx("echo x", g_text, 15); })}});
}

int64_t initialised() {
    result([] { vosLog_init(21); });
    vosLog_cleanup();
    return 0;
}

int64_t redirected() {
    const fs::path before = fs::read_symlink("/proc/self/fd/1");
    const int64_t ret = result([] { return vosLog_stdRedirect("/dev/null"); });
    const int32_t saved[] = {g_vosStdin, g_vosStdout, g_vosStderr};
    vosLog_stdRevert();
    for (const int32_t fd : saved) {
        close(fd);  // they stay open behind a reversal
    }
    EXPECT_EQ(fs::read_symlink("/proc/self/fd/1"), before);
    return ret;
}

TEST(OutOfDescriptors, MessagesAndLog) {
    const vostest::HubProcess hub;
    VosMsgHandle *handle = nullptr;
    ASSERT_EQ(vosMsg_initByName("commands", &handle), kOk);
    fs::create_directories("/tmp/log3");
    VosMsgHeader command{};
    const auto run = [&] { return UTIL_processRemoteCli(handle, &command, [](auto...) { return 0U; }); };
    check({{"handle", kOk, {kError}, vostest::resultOfLaunch},
           {"remote command", kOk, {VOS_RET_OPEN_FAILED}, of(run)},
           {"log", 0, {0}, initialised},
           {"redirection", kOk, {VOS_RET_NO_RESOURCE}, redirected}});
    vosMsg_cleanup(&handle);
}

}  // namespace
