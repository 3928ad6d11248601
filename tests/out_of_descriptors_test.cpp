// Every descriptor that the library asks for is refused once: the call gives the code that its header names and leaks
// none of the others.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "support/fault.h"
#include "support/files.h"
#include "support/hub_process.h"
#include "vos/cli.h"
#include "vos/vos.h"

using vostest::Probe;
using vostest::result;

namespace {

constexpr int64_t kOk = VOS_RET_OK;
constexpr int64_t kError = VOS_RET_ERROR;

void check(const std::vector<Probe> &probes) {
    vostest::failEach(vostest::Resource::kDescriptor, probes);
}

// Sends the first datagrams that come to a port back to where they came from.
class EchoServer {
  public:
    EchoServer() {
        sockaddr_in here{};
        here.sin_family = AF_INET;
        here.sin_port = htons(53);
        here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(bind(fd_, reinterpret_cast<const sockaddr *>(&here), sizeof here), 0);
    }
    ~EchoServer() {
        shutdown(fd_, SHUT_RDWR);
        thread_.join();
        close(fd_);
    }
    EchoServer(const EchoServer &) = delete;
    EchoServer &operator=(const EchoServer &) = delete;

  private:
    void run() const {
        char text[512];
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        ssize_t got = 0;
        while ((got = recvfrom(fd_, text, sizeof text, 0, reinterpret_cast<sockaddr *>(&peer), &size)) > 0) {
            sendto(fd_, text, static_cast<size_t>(got), 0, reinterpret_cast<const sockaddr *>(&peer), size);
        }
    }

    int fd_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    std::thread thread_{[this] { run(); }};
};

TEST(OutOfDescriptors, Files) {
    const vostest::TempDir dir;
    const std::string file = (dir / "file").string();
    const std::string tree = (dir / "tree").string();
    vostest::writeText(file, "Name: x\n");
    uint8_t buf[64];
    const auto ofFile = [&](VosRet (*call)(const char *, const char *)) {
        return [call, file] { return result([&] { return call(file.c_str(), "Name: x\n"); }); };
    };
    check({
        {"read",
         [&] {
             uint32_t size = sizeof buf;
             return result([&] { return utilFil_copyToBuffer(file.c_str(), buf, &size); });
         },
         kOk,
         {kError}},
        {"write", ofFile(utilFil_writeToProc), kOk, {kError}},
        {"create",
         [&] { return result([&] { return utilFil_writeBufferToFile((file + "2").c_str(), buf, 1); }); },
         kOk,
         {kError}},
        {"remove a tree",
         [&] {
             std::filesystem::create_directories(tree + "/a/b");
             return result([&] { return utilFil_removeDir(tree.c_str()); });
         },
         kOk,
         {kOk}},
        {"own a tree",
         [&] {
             std::filesystem::create_directories(tree + "/a/b");
             return result([&] { return utilFil_chownDir(tree.c_str(), getuid()); });
         },
         kOk,
         {kOk}},
        {"map",
         [&] {
             void *map = nullptr;
             result([&] { return (map = vomMem_mapFile2Mem((file + "3").c_str(), 4096)) != nullptr; });
             return map != nullptr ? munmap(map, 4096) : -1;
         },
         0,
         {-1}},
        {"description file",
         [&] {
             char name[16];
             return result([&] { return UTIL_pluginGetInfoName(file.c_str(), name, sizeof name); });
         },
         kOk,
         {VOS_RET_OPEN_FAILED}},
    });
    EXPECT_EQ(vostest::readText(file), "Name: x\n");
}

TEST(OutOfDescriptors, XmlAndLoad) {
    const vostest::TempDir dir;
    const std::string file = (dir / "xml").string();
    vostest::writeText(file, "<a></a>");
    static const XmlNode rows[] = {{nullptr, "a", nullptr, nullptr}, {}};
    const XmlTables tables{rows, nullptr};
    check({
        {"parse", [&] { return result([&] { return parseGeneric(file.c_str(), nullptr, 0, &tables); }); }, 0, {1}},
        {"memory figures",
         [] {
             UtilMemOccupy memory{};
             return result([&] { return UTIL_getMemOccupy(&memory); });
         },
         0,
         {-1}},
        {"processor times",
         [] {
             UtilCpuOccupy times{};
             return result([&] { return UTIL_getCpuOccupy(&times); });
         },
         0,
         {-1}},
    });
}

TEST(OutOfDescriptors, Network) {
    std::filesystem::create_directories("/run/netns");
    vostest::writeText("/run/netns/one", "");
    char text[64];
    const EchoServer nameServer;  // an answer without addresses
    check({
        {"IPv4 address", [&] { return result([&] { return UTIL_getIfAddr("lo", text, sizeof text); }); }, 1, {0}},
        {"existence", [] { return result([] { return UTIL_isInterfaceExisted("lo"); }); }, 1, {0}},
        {"state",
         [] {
             uint8_t up = 0;
             return result([&] { return UTIL_checkInterfaceUp("lo", &up); });
         },
         kOk,
         {kError}},
        {"hardware address",
         [] {
             uint8_t mac[6];
             return result([&] { return UTIL_getIfMacAddr("lo", mac); });
         },
         0,
         {0}},
        {"IPv6 address",
         [&] {
             uint32_t index = 0, length = 0, scope = 0, flags = 0;
             return result([&] { return oal_getIfAddr6("lo", 0, text, &index, &length, &scope, &flags); });
         },
         kOk,
         {kError}},
        {"neighbour",
         [&] { return result([&] { return UTIL_getMacAddrFromArpByIp("10.9.8.7", text, sizeof text); }); },
         -1,
         {-1}},
        {"DNS",
         [&] {
             text[0] = '\0';
             return result([&] { return UTIL_dnsDoQuery("a.b", "", "127.0.0.1", text, sizeof text); });
         },
         kError,
         {kError}},
        {"namespace",
         [] {
             const auto fd = static_cast<int>(result([] { return netns_get_fd("one"); }));
             return fd >= 0 ? close(fd) : -1;
         },
         0,
         {-1}},
        {"namespaces",
         [] { return result([] { return netns_foreach([](char *, void *) { return 0; }, nullptr); }); },
         0,
         {-1}},
    });
}

TEST(OutOfDescriptors, Processes) {
    PrctlSpawnRequest request{};
    request.exe = "/bin/true";
    request.timeoutMs = 10000;
    request.stdinFd = request.stdoutFd = request.stderrFd = request.serverFd = -1;
    request.spawnMode = PRCTL_SPAWN_AND_WAIT;
    request.usePty = 1;
    check({
        {"spawn on a terminal",
         [&] {
             PrctlProcessResult child{};
             const int64_t ret = result([&] { return prctl_spawnProcess(&request, &child); });
             if (child.pid > 0 && child.ptyFd > 0) {
                 close(child.ptyFd);
             }
             return child.pid > 0 ? ret : -1;
         },
         kOk,
         {-1}},
        {"process id by name", [] { return result([] { return prctl_getPidByName("no such"); }); }, 0, {0}},
        {"command's output",
         [] {
             char text[16];
             return result([&] { return UTIL_commSystemEx("echo x", text, sizeof text - 1); });
         },
         1,
         {0}},
    });
}

TEST(OutOfDescriptors, MessagesAndLog) {
    const vostest::HubProcess hub;
    VosMsgHandle *handle = nullptr;
    ASSERT_EQ(vosMsg_initByName("commands", &handle), kOk);
    std::filesystem::create_directories("/tmp/log3");
    check({
        {"handle", vostest::resultOfLaunch, kOk, {kError}},
        {"remote command",
         [&] {
             VosMsgHeader command{};
             return result(
                 [&] { return UTIL_processRemoteCli(handle, &command, [](int, char **, FILE *) { return 0U; }); });
         },
         kOk,
         {VOS_RET_OPEN_FAILED}},
        {"log",
         [] {
             const int64_t ret = result([] { return vosLog_init(21), 0; });
             vosLog_cleanup();
             return ret;
         },
         0,
         {0}},
        {"redirection",
         [] {
             struct stat before, after;
             fstat(STDOUT_FILENO, &before);
             const int64_t ret = result([] { return vosLog_stdRedirect("/dev/null"); });
             const int32_t saved[] = {g_vosStdin, g_vosStdout, g_vosStderr};
             vosLog_stdRevert();
             for (const int32_t fd : saved) {
                 if (fd >= 0) {
                     close(fd);  // they stay open behind a reversal
                 }
             }
             fstat(STDOUT_FILENO, &after);
             EXPECT_TRUE(before.st_dev == after.st_dev && before.st_ino == after.st_ino);
             return ret;
         },
         kOk,
         {VOS_RET_NO_RESOURCE}},
    });
    vosMsg_cleanup(&handle);
}

}  // namespace
