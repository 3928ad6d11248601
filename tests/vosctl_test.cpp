// vosctl against a real hub: what each command prints, its exit status and its advice.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <future>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "../tools/common/hub_protocol.h"
#include "support/effort.h"
#include "support/files.h"
#include "support/hub_process.h"
#include "support/hub_script.h"
#include "support/shell.h"
#include "vos/mem.h"
#include "vos/msg.h"

using testing::ContainsRegex;
using testing::HasSubstr;
using vostest::HubProcess;
using vostest::Outcome;
using vostest::shell;
using vostest::vosctl;

namespace {

constexpr uint32_t kEcho = 0x1000f010;

/** A daemon of this test. */
class Peer {
  public:
    explicit Peer(VosEntityId eid) { EXPECT_EQ(vosMsg_init(eid, &handle_), VOS_RET_OK); }
    explicit Peer(const char *name) { EXPECT_EQ(vosMsg_initByName(name, &handle_), VOS_RET_OK); }
    ~Peer() { vosMsg_cleanup(&handle_); }
    Peer(const Peer &) = delete;
    Peer &operator=(const Peer &) = delete;

    std::string eid() const { return std::to_string(vosMsg_getHandleEid(handle_)); }
    std::unique_ptr<VosMsgHeader, void (*)(VosMsgHeader *)> receive() {
        VosMsgHeader *msg = nullptr;
        EXPECT_EQ(vosMsg_receiveWithTimeout(handle_, &msg, vostest::patienceMs()), VOS_RET_OK);
        return {msg, [](VosMsgHeader *received) { VOS_FREE(received); }};
    }
    /** Answers with the request's own payload. */
    void echo(VosMsgHeader &request, uint32_t result) {
        std::swap(request.src, request.dst);
        request.flags = VOS_MSG_FLAG_RESPONSE;
        request.wordData = result;
        EXPECT_EQ(vosMsg_send(handle_, &request), VOS_RET_OK);
    }

    void sendToHub(uint32_t type) {
        const VosMsgHeader msg{.type = type,
                               .src = vosMsg_getHandleEid(handle_),
                               .dst = EID_HUBD,
                               .flags = 0,
                               .sequenceNumber = 0,
                               .next = nullptr,
                               .wordData = 0,
                               .dataLength = 0};
        EXPECT_EQ(vosMsg_send(handle_, &msg), VOS_RET_OK);
    }

  private:
    VosMsgHandle *handle_ = nullptr;
};

std::string payload(const VosMsgHeader &msg) {
    return {reinterpret_cast<const char *>(&msg + 1), msg.dataLength};
}

std::future<Outcome> inBackground(const std::string &arguments) {
    return std::async(std::launch::async, vosctl, arguments);
}

TEST(Vosctl, SaysInOneLineWhatIsWrongWithTheCommandLine) {
    struct Case {
        const char *arguments;
        const char *err;
    };
    for (const Case &c : {
             Case{"frobnicate", "unknown command or option 'frobnicate'; see 'vosctl --help'"},
             Case{"request 5 VOS_MSG_NONE",
                  "unknown message type 'VOS_MSG_NONE'; give a number or a VOS_MSG_ name; see 'vosctl request --help'"},
             Case{"event 5 0x100000000",
                  "unknown message type '0x100000000'; give a number or a VOS_MSG_ name; see 'vosctl event --help'"},
             Case{"event 5 1 --hex 'abc'",
                  "--hex needs pairs of hexadecimal digits, not 'abc'; see 'vosctl event --help'"},
             Case{"monitor -c 0", "--count: Value 0 not in range 1 to 4294967295; see 'vosctl monitor --help'"},
             Case{"monitor --pcap ''", "--pcap: the name is empty; see 'vosctl monitor --help'"},
             Case{"ping echo --size 4294967295",
                  "--size: Value 4294967295 not in range 0 to 268435456; see 'vosctl ping --help'"},
             Case{"request 5 1 --srpc --data 1234567",
                  "--srpc needs at least 8 bytes of payload; see 'vosctl request --help'"},
         }) {
        SCOPED_TRACE(c.arguments);
        const Outcome outcome = vosctl(c.arguments);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "vosctl: " + std::string{c.err} + "\n");
    }
}

TEST(Vosctl, SaysInOneLineWhyTheWorkFailed) {
    const std::string noHub = "no hub answers at /var/hubd_messaging_server_addr; start one with 'vos-hubd'";
    const vostest::TempDir dir;
    const std::string capture = dir / "capture";
    vostest::writeText(capture, "kept");
    for (const std::string &command :
         {std::string{"list"}, std::string{"ping 20"}, std::string{"event 5 1"}, "monitor --pcap " + capture}) {
        SCOPED_TRACE(command);
        const Outcome outcome = vosctl(command);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.err, "vosctl: " + noHub + "\n");
    }
    EXPECT_EQ(vostest::readText(capture), "kept");
    ASSERT_EQ(symlink(VOS_MSG_HUB_SOCKET_PATH, VOS_MSG_HUB_SOCKET_PATH), 0);
    EXPECT_EQ(vosctl("list").err, "vosctl: cannot connect to the hub at /var/hubd_messaging_server_addr: " +
                                      std::string{strerror(ELOOP)} + "\n");
    unlink(VOS_MSG_HUB_SOCKET_PATH);
    const HubProcess hub;
    const Peer deaf{"deaf"};
    const std::string who = "; 'vosctl list' shows who is there";
    struct Case {
        const char *arguments;
        std::string err;
    };
    for (const Case &c : {
             Case{"request nobody ECHO", "no entity is called 'nobody'" + who},
             Case{"monitor --entity nobody", "no entity is called 'nobody'" + who},
             Case{"request 0x1234 ECHO", "nobody holds the id of 0x1234" + who},
             Case{"ping 4660", "nobody holds the id of 4660" + who},
             Case{"event 0x1234 1", "nobody holds the id of 0x1234" + who},
             Case{"request deaf ECHO --timeout 20",
                  "no reply from deaf (" + deaf.eid() + ") within 20 ms; a slow peer needs a longer --timeout"},
             Case{"event 5 1 --file /dev/zero",
                  "'/dev/zero' is longer than a payload, 268435456 bytes; give --file a shorter file"},
             Case{"list >/dev/full", "cannot write the result: No space left on device"},
             Case{"event 5 1 --file /", "cannot read '/': Is a directory; give --file a readable file"},
         }) {
        SCOPED_TRACE(c.arguments);
        const Outcome outcome = vosctl(c.arguments);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.err, "vosctl: " + c.err + "\n");
    }
}

TEST(Vosctl, SaysThatTheHubClosedTheConnection) {
    const HubProcess hub{{"--payload-limit", "64"}};
    const Outcome outcome = vosctl("request 20 ECHO --file /proc/self/maps");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, ContainsRegex("^vosctl: the hub closed the connection \\(VOS_RET_[A-Z_]+ \\([0-9]+\\)\\); "
                                           "its output says why, 'vos-hubd' starts it again\n$"));
}

TEST(Vosctl, SendsPayloadsAsTextHexOrFileAndPrintsTheReply) {
    const HubProcess hub;
    Peer peer{"peer"};
    vostest::TempDir dir;
    vostest::writeText(dir / "f", std::string{"\0file", 5});
    struct Case {
        std::string payload;
        std::string sent;
        std::string dump;
    };
    for (const Case &c : {
             Case{"", "", ""},
             Case{"--data 'hello, daemon 17'", "hello, daemon 17",
                  "00000000  68 65 6c 6c 6f 2c 20 64 61 65 6d 6f 6e 20 31 37  |hello, daemon 17|\n"},
             Case{"--hex '00 ff:7F'", std::string{"\0\xff\x7f", 3},
                  "00000000  00 ff 7f                                         |...|\n"},
             Case{"--file " + (dir / "f").string(), std::string{"\0file", 5},
                  "00000000  00 66 69 6c 65                                   |.file|\n"},
         }) {
        SCOPED_TRACE(c.payload);
        auto running = inBackground("request peer ECHO --word 0x2a " + c.payload);
        const auto request = peer.receive();
        EXPECT_EQ(request->type, kEcho);
        EXPECT_EQ(request->flags, VOS_MSG_FLAG_REQUEST);
        EXPECT_EQ(request->wordData, 42U);
        EXPECT_EQ(payload(*request), c.sent);
        peer.echo(*request, VOS_RET_OK);
        const Outcome outcome = running.get();
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out, "VOS_RET_OK (0) from peer (" + peer.eid() + "), " + std::to_string(c.sent.size()) +
                                   " bytes\n" + c.dump);
        EXPECT_EQ(vosctl("event " + peer.eid() + " VOS_MSG_SAVE_LOG_TO_FLASH " + c.payload).status, 0);
        const auto event = peer.receive();
        EXPECT_EQ(event->type, uint32_t{VOS_MSG_SAVE_LOG_TO_FLASH});
        EXPECT_EQ(event->flags, VOS_MSG_FLAG_EVENT);
        EXPECT_EQ(payload(*event), c.sent);
    }
}

TEST(Vosctl, FailsWhenThePeerRefusesTheRequest) {
    const HubProcess hub;
    Peer peer{"peer"};
    auto running = inBackground("request peer 77");
    peer.echo(*peer.receive(), VOS_RET_BAD_ARG);
    const Outcome outcome = running.get();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("VOS_RET_BAD_ARG (9003) from peer"));
    EXPECT_EQ(outcome.err, "vosctl: peer (" + peer.eid() + ") refused the request: VOS_RET_BAD_ARG (9003)\n");
}

TEST(Vosctl, MeasuresEveryRoundTripOfAPing) {
    const HubProcess hub;
    Peer peer{"peer"};
    auto running = inBackground("ping peer -c 3 --size 8");
    for (int i = 0; i < 3; i++) {
        const auto request = peer.receive();
        EXPECT_EQ(request->dataLength, 8U);
        peer.echo(*request, VOS_RET_OK);
    }
    const Outcome outcome = running.get();
    EXPECT_THAT(outcome.out, ContainsRegex("^3 requests of 8 bytes to peer \\([0-9]+\\): min [0-9.]+ median [0-9.]+ "
                                           "p99 [0-9.]+ max [0-9.]+ us\n$"));
    EXPECT_EQ(vosctl("ping 20").status, 0);
}

TEST(Vosctl, TakesNoOtherReplyForAnAnswer) {
    const HubProcess hub;
    const std::string noResult = "/tmp/cli_remote_result is no regular file that can be read; remove it and try again";
    struct Case {
        const char *arguments;
        int comebacks;         // of the peer, which leaves the repeated request unanswered
        const char *prepared;  // in the shell before the peer answers with half of the payload
        uint32_t result;
        std::string err;
    };
    for (const Case &c : {
             Case{"ping 6000 -c 1", 0, "true", VOS_RET_BAD_ARG,
                  "6000 does not answer pings: its reply has the result VOS_RET_BAD_ARG (9003) and 0 bytes, not 0 and "
                  "the payload sent"},
             Case{"ping 6000 --size 8", 0, "true", VOS_RET_OK,
                  "6000 does not answer pings: its reply has the result VOS_RET_OK (0) and 4 bytes, not 0 and the "
                  "payload sent"},
             Case{"ping 6000 --timeout 200", 1, nullptr, VOS_RET_OK,
                  "6000 came back and left the repeated request unanswered; try again"},
             Case{
                 "request 6000 1", 17, nullptr, VOS_RET_OK,
                 "6000 comes back again and again without an answer (VOS_RET_ERROR (9002)); 'vosctl monitor' shows its "
                 "launches"},
             Case{"cli 6000 -- x", 0, "mkfifo /tmp/cli_remote_result", VOS_RET_OK, noResult},
             Case{"cli 6000 -- x", 0, "ln -s /etc/passwd /tmp/cli_remote_result", VOS_RET_OK, noResult},
             Case{"cli 6000 -- x", 0, "mkdir /tmp/cli_remote_result", VOS_RET_OK, noResult},
         }) {
        SCOPED_TRACE(c.err + c.arguments);
        std::optional<Peer> peer{6000U};
        auto running = std::async(std::launch::async, shell,
                                  "timeout 5 '" VOS_TEST_BIN_DIR "/vosctl' " + std::string{c.arguments});
        const auto request = peer->receive();
        for (int i = 1; i <= c.comebacks; i++) {
            peer.reset();
            peer.emplace(6000U);
            if (i < 17) {
                peer->receive();  // the last time it is not asked any more
            }
        }
        if (c.prepared != nullptr) {
            EXPECT_EQ(system(c.prepared), 0);
            request->dataLength /= 2;
            peer->echo(*request, c.result);
        }
        const Outcome outcome = running.get();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.err, "vosctl: " + c.err + "\n");
    }
    std::filesystem::remove_all("/tmp/cli_remote_result");
}

// A monitor of a hub that the test plays, behind its three questions.
struct Monitor {
    explicit Monitor(const std::string &arguments) : running{inBackground("monitor " + arguments)} {
        hub.acceptOnly();
        hub.send(vostest::message(VOS_MSG_LAUNCHED, EID_HUBD, 6000));
        for (int question = 0; question < 3; question++) {
            hub.send(vostest::message(hub.read()->header.type, EID_HUBD, 6000, VOS_MSG_FLAG_RESPONSE));
        }
    }
    static vostest::WireMessage copy(uint32_t type, uint32_t lost) {
        const hubproto::MonitorRecord record{.realtimeNs = 0, .verdict = 0, .lost = lost};
        return vostest::message(
            hubproto::kMonitorCopy, EID_HUBD, 6000, VOS_MSG_FLAG_EVENT, 0,
            std::string{reinterpret_cast<const char *>(&record), sizeof record} + vostest::message(type, 1, 2).bytes());
    }

    vostest::HubScript hub;
    std::future<Outcome> running;
};

TEST(Vosctl, MonitorCountsWhatIsLostBeforeMessagesThatItDoesNotShow) {
    Monitor monitor{"--type 2 -c 2 --json"};
    for (const auto &[type, lost] : {std::pair{1, 4}, {2, 1}, {2, 0}}) {
        monitor.hub.send(Monitor::copy(static_cast<uint32_t>(type), static_cast<uint32_t>(lost)));
    }
    EXPECT_THAT(monitor.running.get().out, ContainsRegex("\"lost\":5,.*\n.*\"lost\":0,"));
}

TEST(Vosctl, WaitsForTheHubAsLongAsItWasTold) {
    const vostest::HubScript stopped;  // listens and does nothing
    std::vector<std::future<Outcome>> all;
    for (const char *arguments : {"request 5 1 --timeout 20", "ping peer --timeout 20", "cli 5 --timeout 20 -- x"}) {
        all.push_back(inBackground(arguments));
    }
    for (std::future<Outcome> &each : all) {
        const Outcome outcome = each.get();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.err, "vosctl: no reply from the hub within 1000 ms; a slow peer needs a longer --timeout\n");
    }
}

TEST(Vosctl, TellsAFailedLookUpFromAnId) {
    vostest::HubScript hub;
    auto running = inBackground("ping peer");
    hub.acceptOnly();
    hub.send(vostest::message(VOS_MSG_LAUNCHED, EID_HUBD, 6000));
    hub.send(vostest::message(hub.read()->header.type, EID_HUBD, 6000, VOS_MSG_FLAG_RESPONSE, VOS_RET_ERROR));
    EXPECT_EQ(running.get().err,
              "vosctl: the hub cannot look 'peer' up: VOS_RET_ERROR (9002); give the entity's number\n");
}

void terminate(const vostest::HubScript &clientsHub) {
    const auto pid = static_cast<pid_t>(clientsHub.announcement().header.wordData);
    ASSERT_GT(pid, 0) << "the client never announced itself";
    kill(pid, SIGTERM);
}

TEST(Vosctl, MonitorStopsInTheMiddleOfAMessageAndOfALaunch) {
    {
        Monitor monitor{""};
        monitor.hub.sendBytes(Monitor::copy(1, 0).bytes().substr(0, 50));
        for (int unread = 1; unread > 0; ioctl(monitor.hub.fd(), SIOCOUTQ, &unread)) {
        }
        terminate(monitor.hub);
        EXPECT_EQ(monitor.running.wait_for(std::chrono::milliseconds{vostest::patienceMs()}),
                  std::future_status::ready);
        monitor.hub.hangUp();
        EXPECT_EQ(monitor.running.get().status, 0);
    }
    vostest::HubScript hub;
    auto running = inBackground("monitor");
    hub.acceptOnly();
    terminate(hub);
    EXPECT_EQ(running.get().status, 128 + SIGTERM);
}

TEST(Vosctl, ListsClientsWithHeartbeatsAndWatchdog) {
    const HubProcess hub;
    Peer quiet{"quiet"};
    Peer beating{"beating"};
    beating.sendToHub(VOS_MSG_HEARTBEAT);
    beating.sendToHub(VOS_MSG_STOP_WATCHDOG);
    const Outcome outcome = vosctl("list");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, ContainsRegex(quiet.eid() + " +quiet +" + std::to_string(getpid()) + " .* 0 +never  on "));
    EXPECT_THAT(outcome.out, ContainsRegex(beating.eid() + " +beating .* 1 +0\\.[0-9] s  stopped "));
    EXPECT_THAT(outcome.out, ContainsRegex("\nhub: up [0-9.]+ s, 3 clients, .* [0-9]+ of 268435456 bytes of memory used\n"));
    EXPECT_EQ(vosctl("list >&-").status, 1) << "the hub's socket does not become standard output";
}

TEST(Vosctl, MonitorsWhatPassesTheFilters) {
    for (const bool json : {false, true}) {
        SCOPED_TRACE(json);
        const HubProcess hub{{"--trace"}};
        const Peer peer{"peer \"x\"\xE9"};
        auto running = inBackground("monitor -c 1 --type 0x5678 --entity " + peer.eid() + (json ? " --json" : ""));
        ASSERT_TRUE(hub.awaitOutput("HUB_LIST_CLIENTS"));
        vosctl("event 20 0x5678");
        vosctl("event " + peer.eid() + " 0x1234");
        vosctl("event " + peer.eid() + " 0x5678 --word 3 --data hi");
        const Outcome outcome = running.get();
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_THAT(outcome.out,
                    ContainsRegex(json ? "^.\"time\":\"20[-0-9]+T[0-9:.]+Z\",\"verdict\":\"delivered\",\"lost\":0,"
                                         "\"type\":22136,\"typeName\":\"0x5678\",\"src\":[0-9]+,\"srcName\":\"vosctl\","
                                         "\"dst\":" +
                                             peer.eid() +
                                             ",\"dstName\":\"peer \\\\\"x\\\\\"\\\\ufffd\",\"flags\":1,"
                                             "\"flagNames\":\"event\",\"word\":3,\"length\":2,\"payload\":\"6869\".\n$"
                                       : "^[0-9:.]+ 0x5678 vosctl\\([0-9]+\\) -> peer \"x\"\\.\\(" + peer.eid() +
                                             "\\) event word=3 len=2 \\[delivered\\] 68 69 \\|hi\\|\n$"));
    }
}

TEST(Vosctl, CompletesCommandsOptionsTypesAndRunningEntities) {
    const HubProcess hub;
    const Peer peer{"peer"};
    const Peer hostile{"$(touch /tmp/completed)"};  // the shell would run it
    struct Case {
        const char *line;
        std::string offered;
    };
    for (const Case &c : {
             Case{"mon", "monitor"},
             Case{"monitor --js", "--json"},
             Case{"monitor --type VOS_MSG_REB", "VOS_MSG_REBOOT"},
             Case{"request p", "peer"},
             Case{"request --word 7 peer HUB_L", "HUB_LIST_CLIENTS"},
             Case{"ping --timeout ", ""},
             Case{"ping 6", hostile.eid()},
         }) {
        SCOPED_TRACE(c.line);
        const std::string script = std::string{"PATH=\"" VOS_TEST_BIN_DIR
                                               ":$PATH\"; "
                                               ". \"" VOS_TEST_SOURCE_DIR
                                               "/tools/vosctl/vosctl.bash\"; "
                                               "IFS=\" \" read -ra COMP_WORDS <<< \"vosctl "} +
                                   c.line + "x\"; COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); " +
                                   "COMP_WORDS[-1]=${COMP_WORDS[-1]%x}; _vosctl; echo \"${COMPREPLY[*]}\"";
        EXPECT_EQ(shell("bash -c '" + script + "'").out, c.offered + "\n");
    }
    EXPECT_NE(access("/tmp/completed", F_OK), 0);
}

}  // namespace
