// What a bad client, missing descriptors or an unread pipe can do to the development hub, and how it ends.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "internal/guards.h"
#include "support/files.h"
#include "support/hub_peer.h"
#include "support/hub_process.h"

using testing::HasSubstr;
using vostest::announcement;
using vostest::bytesOf;
using vostest::HubProcess;
using vostest::kEvent;
using vostest::kRequest;
using vostest::kType;
using vostest::message;
using vostest::Peer;
using vostest::WireMessage;

namespace {

std::set<rlim_t> descriptorsOf(const HubProcess &hub) {
    std::set<rlim_t> all;
    for (const auto &entry : std::filesystem::directory_iterator{"/proc/" + std::to_string(hub.pid()) + "/fd"}) {
        all.insert(std::stoul(entry.path().filename()));
    }
    return all;
}

TEST(HubProtection, GivesUpAReaderThatDoesNotReadAndNobodyElse) {
    HubProcess hub{{"--queue-limit", "100000", "--deaf-after", "500"}};
    const Peer stuck{100};
    const Peer flooder{101};
    const Peer reader{102};
    const std::string event = message(kType, 101, 100, kEvent, 0, std::string(1000, 'x')).bytes();
    for (int i = 0; i < 2000; i++) {
        flooder.sendBytes(event);
    }
    EXPECT_TRUE(flooder.drain().empty());
    EXPECT_TRUE(hub.awaitOutput("disconnecting routed (eid 100"));
    while (stuck.receive()) {
    }
    const std::string large = message(kType, 101, 102, kEvent, 0, std::string(1 << 20, 'x')).bytes();
    flooder.sendBytes(large);
    EXPECT_EQ(reader.receive()->bytes(), large) << "one message may be longer than the queue";
    EXPECT_EQ(hub.stop(SIGTERM), 0);
}

TEST(HubProtection, HoldsFloodersBackUntilAWorkingReaderCatchesUp) {
    constexpr uint32_t kFlooders = 20;
    constexpr uint32_t burst = 100;
    constexpr uint32_t events = 3000;
    const HubProcess hub{{"--queue-limit", std::to_string(300 * events)}};
    const Peer watcher{1};
    const Peer reader{100};
    std::vector<Peer> flooders;
    for (uint32_t i = 0; i < kFlooders; i++) {
        flooders.emplace_back(101 + i);
    }
    const auto event = [](const Peer &from, uint32_t number) {
        return message(kType, from.eid(), 100, kEvent, number, std::string(1000, 'x')).bytes();
    };
    for (const Peer &flooder : flooders) {
        std::string all;
        for (uint32_t i = 0; i < burst; i++) {
            all += event(flooder, i);
        }
        flooder.sendBytes(all);
    }
    std::thread flood{[&] {
        for (uint32_t i = burst; i < events; i++) {
            flooders[0].sendBytes(event(flooders[0], i));
        }
    }};
    // Reading begins when the hub takes nothing more from the flooders, or has given the reader up.
    uint64_t taken = 0;
    for (int same = 0; same < 200;) {
        const auto rows = watcher.askForClients();
        if (rows.size() < kFlooders + 2) {
            break;
        }
        uint64_t now = 0;
        for (const auto &row : rows) {
            now += row.eid > 100 ? row.messagesIn : 0;
        }
        same = now == taken && rows[1].queuedBytes > 0 ? same + 1 : 0;
        taken = now;
    }
    uint32_t inOrder = 0;
    std::map<VosEntityId, uint32_t> numbers;
    for (auto msg = reader.receive(); msg && msg->header.wordData == numbers[msg->header.src]++;) {
        msg = ++inOrder < events + (kFlooders - 1) * burst ? reader.receive() : std::nullopt;
    }
    flood.join();
    EXPECT_EQ(inOrder, events + (kFlooders - 1) * burst);
}

TEST(HubProtection, ServesARequesterInTurnsAndNoFasterThanItReads) {
    struct Row {
        uint32_t type;
        VosEntityId dst;
        uint16_t flags;
        size_t payload;
        uint64_t most;  // in one turn
    };
    for (const Row &row : {Row{kType, 999, kEvent, 0, 128}, Row{hubproto::kListClients, EID_HUBD, kRequest, 0, 64},
                           Row{VOS_MSG_ADD_ENTITY_INFO, EID_HUBD, kRequest, 444, 22},
                           Row{VOS_MSG_GET_PLUGIN_CFG_DIR, EID_HUBD, kRequest, 0, 4}}) {
        SCOPED_TRACE(row.type);
        const HubProcess hub{{"--queue-limit", "1000000", "--plugin-data-dir", "/tmp/plugins"}};
        const Peer greedy{100};
        const Peer modest{101};
        EXPECT_TRUE(greedy.drain().empty());
        kill(hub.pid(), SIGSTOP);
        waitpid(hub.pid(), nullptr, WUNTRACED);
        const uint32_t count = row.payload == 0 ? 2000 : 400;
        std::string all;
        for (uint32_t i = 0; i < count; i++) {
            all += message(row.type, 100, row.dst, row.flags, 0, std::string(row.payload, '\0')).bytes();
        }
        greedy.sendBytes(all);
        modest.send(message(hubproto::kListClients, 101, EID_HUBD, kRequest));
        kill(hub.pid(), SIGCONT);
        const auto rows = Peer::rowsOf(modest.receive().value_or(WireMessage{}));
        ASSERT_EQ(rows.size(), 2U);
        EXPECT_LE(rows[0].messagesIn, 2 + row.most) << "the others have their turn in between";
        for (uint32_t i = 0; row.flags == kRequest && i < count; i++) {
            const auto answer = greedy.receive();
            ASSERT_TRUE(answer &&
                        (row.type != hubproto::kListClients || Peer::rowsOf(*answer).at(0).messagesIn == 3 + i));
        }
    }
}

TEST(HubProtection, LetsGoWhoHoldsMostWhenItsMemoryIsUsedUp) {
    const HubProcess hub{{"--memory-limit", "4000000"}};
    const Peer modest{100};
    const std::string half = message(kType, 0, 100, kEvent, 0, std::string(1 << 20, 'x')).bytes().substr(0, 1000000);
    std::vector<Peer> greedy;
    for (uint32_t i = 0; i < 6; i++) {
        greedy.emplace_back(101 + i).sendBytes(half);
    }
    EXPECT_TRUE(hub.awaitOutput(" of the 4000000 that there are (--memory-limit)"));
    EXPECT_LE(modest.askFor<hubproto::HubCounters>(hubproto::kGetCounters).memoryUsed, 4000000U);
}

TEST(HubProtection, DisconnectsOnlyTheSenderOfABrokenFrame) {
    const HubProcess hub{{"--payload-limit", "1000"}};
    const Peer bad{100};
    const Peer good{101};
    WireMessage broken = message(kType, 100, 101, kEvent);
    broken.header.dataLength = 1001;
    const WireMessage last = message(kType, 100, 101, kEvent, 0, std::string(1000, 'x'));
    bad.sendBytes(last.bytes() + broken.bytes());
    EXPECT_FALSE(bad.receive());
    EXPECT_TRUE(hub.awaitOutput("a longer payload than 1000 bytes"));
    EXPECT_EQ(bytesOf(good.drain()), std::vector{last.bytes()}) << "what came before it is delivered";
}

TEST(HubProtection, HoldsAThousandClientsAndGivesTheirDescriptorsBack) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_max < 1200) {
        GTEST_SKIP() << "this account may not open a thousand descriptors";
    }
    const HubProcess hub;
    const Peer first{100};
    EXPECT_TRUE(first.drain().empty());
    const size_t before = descriptorsOf(hub).size();
    {
        std::vector<Peer> peers;
        for (uint32_t i = 0; i < 1000; i++) {
            peers.emplace_back(1000 + i);
        }
        EXPECT_EQ(first.askForClients().size(), 1001U);
        for (size_t i = 0; i < peers.size(); i++) {
            peers[i].send(message(kType, peers[i].eid(), peers[(i + 1) % peers.size()].eid(), kEvent));
        }
        for (size_t i = 0; i < peers.size(); i++) {
            EXPECT_EQ(peers[i].receive()->header.dst, peers[i].eid());
        }
    }
    while (first.askForClients().size() > 1) {
    }
    EXPECT_TRUE(first.drain().empty());
    EXPECT_EQ(descriptorsOf(hub).size(), before);
}

TEST(HubProtection, WaitsQuietlyWhenItsDescriptorsAreUsedUp) {
    const HubProcess hub;
    const Peer settled{99};
    settled.drain();
    std::optional<Peer> first{std::in_place, 100};
    rlim_t lowestFree = 0;
    while (descriptorsOf(hub).contains(lowestFree)) {
        lowestFree++;
    }
    const rlimit limit{lowestFree, lowestFree};
    ASSERT_EQ(prlimit(hub.pid(), RLIMIT_NOFILE, &limit, nullptr), 0);
    const Peer late;
    late.send(announcement(101, ""));
    EXPECT_TRUE(hub.awaitOutput("cannot accept a client for now"));
    EXPECT_TRUE(first->drain().empty()) << "those inside are served";
    first.reset();
    EXPECT_EQ(late.receive()->header.dst, 101U) << "gets in once there is room";
    const std::string output = hub.output();
    EXPECT_EQ(output.find("cannot accept"), output.rfind("cannot accept")) << "said once";
}

/** A vos-hubd that writes its trace and its report into small pipes. */
class PipedHub {
  public:
    explicit PipedHub(bool hasOutput = true) {
        EXPECT_EQ(pipe(trace_) + pipe(report_), 0);
        fcntl(trace_[0], F_SETFL, O_NONBLOCK);
        fcntl(trace_[1], F_SETPIPE_SZ, 2 * PIPE_BUF);
        fcntl(report_[1], F_SETPIPE_SZ, PIPE_BUF);
        pid_ = fork();
        if (pid_ == 0) {
            hasOutput ? dup2(trace_[1], STDOUT_FILENO) : close(STDOUT_FILENO);
            dup2(report_[1], STDERR_FILENO);
            execl(VOS_TEST_BIN_DIR "/vos-hubd", "vos-hubd", "--trace", nullptr);
            _exit(127);
        }
    }
    ~PipedHub() {
        kill(pid_, SIGTERM);
        int status = -1;
        EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
        EXPECT_EQ(status, 0);
        for (const int fd : {trace_[0], trace_[1], report_[0], report_[1]}) {
            close(fd);
        }
    }
    std::string report(size_t most = PIPE_BUF) const { return readFrom(report_[0], most); }
    std::string trace() const { return readFrom(trace_[0], PIPE_BUF); }

  private:
    static std::string readFrom(int fd, size_t most) {
        std::string text(most, '\0');
        text.resize(static_cast<size_t>(std::max<ssize_t>(read(fd, text.data(), most), 0)));
        return text;
    }
    int trace_[2];
    int report_[2];
    pid_t pid_ = -1;
};

TEST(HubLife, EndsCleanlyAndReplacesOnlyADeadHubsSocket) {
    const std::string path = "/tmp/hub.sock";
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        HubProcess hub{{}, path};
        EXPECT_EQ(hub.stop(signal), 0);
        EXPECT_FALSE(std::filesystem::exists(path));
    }
    {
        const HubProcess replaced{{}, path};
        std::filesystem::remove(path);
        vostest::writeText(path, "somebody else's");
    }
    EXPECT_TRUE(std::filesystem::remove(path)) << "it removes its own socket only";
    HubProcess killed{{}, path};
    EXPECT_EQ(killed.stop(SIGKILL), -SIGKILL);
    EXPECT_TRUE(std::filesystem::exists(path));
    const HubProcess successor{{}, path};
    const auto second = vostest::runHub({"--socket", path});
    EXPECT_EQ(second.status, 1);
    EXPECT_THAT(second.output, HasSubstr("another hub listens on /tmp/hub.sock"));
    const Peer stillServed{path};
    stillServed.send(announcement(9, ""));
    EXPECT_TRUE(stillServed.receive());
}

TEST(HubLife, StartsWhateverOthersLockAndWaitsForItsOwnLockUntilASignal) {
    const std::string path = "/tmp/hub.sock";
    const vos::UniqueFd directory{open("/tmp", O_RDONLY | O_CLOEXEC)};
    ASSERT_EQ(flock(directory.get(), LOCK_EX), 0);
    {
        const HubProcess hub{{"--socket-mode", "0640"}, path};
        EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms{0640});
        EXPECT_FALSE(std::filesystem::exists(path + ".lock"));
    }
    const vos::UniqueFd lock{open(VOS_MSG_HUB_SOCKET_PATH ".lock", O_RDWR | O_CREAT | O_CLOEXEC, 0600)};
    ASSERT_EQ(flock(lock.get(), LOCK_EX), 0);
    EXPECT_THAT(PipedHub{}.report(), HasSubstr("waits for another hub that starts"));
    unlink(VOS_MSG_HUB_SOCKET_PATH ".lock");
}

TEST(HubLife, TellsTheServiceManagerThatItIsReady) {
    for (const std::string place : {"/tmp/notify", "@notify"}) {
        SCOPED_TRACE(place);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        memcpy(address.sun_path, place.data(), place.size());
        address.sun_path[0] = place[0] == '@' ? '\0' : '/';
        const vos::UniqueFd manager{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + place.size());
        ASSERT_EQ(bind(manager.get(), reinterpret_cast<const sockaddr *>(&address), size), 0);
        setenv("NOTIFY_SOCKET", place.c_str(), 1);
        const HubProcess hub;
        unsetenv("NOTIFY_SOCKET");
        char text[20] = "";
        recv(manager.get(), text, sizeof text - 1, 0);
        EXPECT_STREQ(text, "READY=1");
    }
}

TEST(HubLife, GoesOnAlthoughNobodyReadsItsReportOrTheTrace) {
    constexpr size_t kEvents = 4000;
    const std::string lost = " lines before this one are lost\n";
    const PipedHub hub;
    EXPECT_EQ(hub.report(1), "v") << "it says that it listens";
    const auto refused = [] {
        const Peer peer;
        peer.send(announcement(EID_HUBD, std::string(50, 'n')));
        EXPECT_FALSE(peer.receive());
    };
    for (int i = 0; i < PIPE_BUF / 50; i++) {
        refused();
    }
    hub.report();
    refused();
    EXPECT_THAT(hub.report(), HasSubstr(lost + "vos-hubd: disconnecting"));

    const Peer peer{VosEntityId{9}};
    for (size_t i = 0; i < kEvents; i++) {
        peer.send(message(kType, 9, 9, kEvent, 0, "a payload for the trace"));
        EXPECT_EQ(peer.receive()->header.dst, 9U) << "messages go on";
    }
    std::string lines;
    size_t asked = 0;
    for (; asked < 500 && lines.find(lost) == lines.npos; asked++) {
        peer.drain();
        lines += hub.trace();
    }
    const std::string before = lines.substr(0, lines.rfind('\n', lines.find(lost)) + 1);
    const size_t all = static_cast<size_t>(std::ranges::count(before, '\n')) + std::stoul(lines.substr(before.size()));
    EXPECT_TRUE(all >= kEvents && all <= kEvents + 2 * asked + 1) << all << " lines were written or lost";
}

TEST(HubLife, NeedsNoStandardOutput) {
    const PipedHub hub{false};
    EXPECT_EQ(hub.report(1), "v") << "it says that it listens";
    for (const VosEntityId eid : {300U, 301U}) {
        const Peer peer{eid};
        EXPECT_EQ(peer.eid(), eid);
        EXPECT_TRUE(peer.drain().empty());
    }
}

TEST(HubLife, RefusesWrongCommandLinesInOneLine) {
    vostest::writeText("/tmp/file", "precious");
    symlink("/tmp/file", "/tmp/link.lock");
    vostest::writeText("/tmp/open.lock", "");
    const vos::UniqueFd busy{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    const vostest::UnixAddress place{"/tmp/busy"};
    ASSERT_EQ(bind(busy.get(), place.get(), place.size()) + listen(busy.get(), 0), 0);
    const Peer inBacklog{std::string{"/tmp/busy"}};
    struct Case {
        std::vector<std::string> arguments;
        int status;
        std::string text;
    };
    for (const Case &c :
         {Case{{"--nonsense"}, 2, "--nonsense"}, Case{{"--queue-limit", "0"}, 2, "--queue-limit"},
          Case{{"--payload-limit", "many"}, 2, "--payload-limit"},
          Case{{"--socket", "/tmp/file"}, 1, "/tmp/file exists and is no socket"},
          Case{{"--socket-mode", "1000"}, 2, "--socket-mode"}, Case{{"--ready-fd", "99"}, 2, "not open"},
          Case{{"--socket", "/nowhere/hub"}, 1, "cannot open the lock /nowhere/hub.lock"},
          Case{{"--socket", "/tmp/link"}, 1, "cannot open the lock /tmp/link.lock"},
          Case{{"--socket", "/tmp/open"}, 1, "/tmp/open.lock is no private file"},
          Case{{"--socket", "/tmp/busy"}, 1, "another hub listens on /tmp/busy"},
          Case{{"--socket", std::string(108, 'x')}, 1, "1 to 107 bytes"}}) {
        SCOPED_TRACE(c.text);
        const auto run = vostest::runHub(c.arguments);
        EXPECT_EQ(run.status, c.status);
        EXPECT_THAT(run.output, HasSubstr(c.text));
        EXPECT_EQ(run.output.find('\n'), run.output.size() - 1);
    }
    EXPECT_EQ(vostest::readText("/tmp/file"), "precious");
    EXPECT_EQ(vostest::runHub({"--help"}).status, 0);
}

}  // namespace
