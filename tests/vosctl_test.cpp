// vosctl against a real hub: what each command prints, its exit status and its advice.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <future>
#include <optional>
#include <string>
#include <utility>

#include "../tools/common/hub_protocol.h"
#include "support/complaints.h"
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
        const auto msg = vostest::message(type, vosMsg_getHandleEid(handle_), EID_HUBD);
        EXPECT_EQ(vosMsg_send(handle_, &msg.header), VOS_RET_OK);
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
    vostest::expectComplaints({
        {"frobnicate", 2, "unknown command or option 'frobnicate'; see 'vosctl --help'"},
        {"request 5 VOS_MSG_NONE", 2, "unknown message type 'VOS_MSG_NONE'; give a number or a VOS_MSG_ name; see"},
        {"event 5 0x100000000", 2, "type '0x100000000'; give a number or a VOS_MSG_ name; see 'vosctl event --help'"},
        {"event 5 1 --hex 'abc'", 2, "--hex needs pairs of hexadecimal digits, not 'abc'; see 'vosctl event --help'"},
        {"monitor --pcap ''", 2, "--pcap: the name is empty; see 'vosctl monitor --help'"},
        {"ping echo --size 4294967295", 2, "--size: Value 4294967295 not in range 0 to 268435456"},
        {"request 5 1 --srpc --data 1234567", 2, "--srpc needs at least 8 bytes of payload; see 'vosctl request"},
    });
}

TEST(Vosctl, SaysInOneLineWhyTheWorkFailed) {
    constexpr const char *kNoHub = "no hub answers at /var/hubd_messaging_server_addr; start one with 'vos-hubd'\n";
    const vostest::TempDir dir;
    const std::string capture = dir / "capture";
    const std::string monitor = "monitor --pcap " + capture;
    vostest::writeText(capture, "kept");
    vostest::expectComplaints(
        {{"list", 1, kNoHub}, {"ping 20", 1, kNoHub}, {"event 5 1", 1, kNoHub}, {monitor.c_str(), 1, kNoHub}});
    EXPECT_EQ(vostest::readText(capture), "kept");
    ASSERT_EQ(symlink(VOS_MSG_HUB_SOCKET_PATH, VOS_MSG_HUB_SOCKET_PATH), 0);
    vostest::expectComplaints(
        {{"list", 1, std::string{"cannot connect to the hub at /var/hubd_messaging_server_addr: "} + strerror(ELOOP)}});
    unlink(VOS_MSG_HUB_SOCKET_PATH);
    const HubProcess hub{{"--payload-limit", "300"}};
    const Peer deaf{"deaf"};
    const std::string late =
        "no reply from deaf (" + deaf.eid() + ") within 20 ms; a slow peer needs a longer --timeout";
    vostest::expectComplaints({
        {"request nobody ECHO", 1, "no entity is called 'nobody'; 'vosctl list' shows who is there"},
        {"monitor --entity nobody", 1, "no entity is called 'nobody'; 'vosctl list' shows who is there"},
        {"request 0x1234 ECHO", 1, "nobody holds the id of 0x1234; 'vosctl list' shows who is there"},
        {"ping 4660", 1, "nobody holds the id of 4660; 'vosctl list' shows who is there"},
        {"event 0x1234 1", 1, "nobody holds the id of 0x1234; 'vosctl list' shows who is there"},
        {"request deaf ECHO --timeout 20", 1, late.c_str()},
        {"event 5 1 --file /dev/zero", 1,
         "'/dev/zero' is longer than a payload, 268435456 bytes; give --file a shorter"},
        {"list >/dev/full", 1, "cannot write the result: No space left on device"},
        {"event 5 1 --file /", 1, "cannot read '/': Is a directory; give --file a readable file"},
        {"request 20 ECHO --file /proc/self/maps", 1, "the hub closed the connection (VOS_RET_"},
    });
}

TEST(Vosctl, SendsPayloadsAsTextHexOrFileAndPrintsTheReply) {
    const HubProcess hub;
    Peer peer{"peer"};
    vostest::TempDir dir;
    vostest::writeText(dir / "f", std::string{"\0file", 5});
    const std::tuple<std::string, std::string, std::string> kRows[] = {
        {"", "", ""},
        {"--data 'hello, daemon 17'", "hello, daemon 17",
         "00000000  68 65 6c 6c 6f 2c 20 64 61 65 6d 6f 6e 20 31 37  |hello, daemon 17|\n"},
        {"--hex '00 ff:7F'", std::string{"\0\xff\x7f", 3},
         "00000000  00 ff 7f                                         |...|\n"},
        {"--file " + (dir / "f").string(), std::string{"\0file", 5},
         "00000000  00 66 69 6c 65                                   |.file|\n"}};
    for (const auto &[given, sent, dump] : kRows) {
        SCOPED_TRACE(given);
        auto running = inBackground("request peer ECHO --word 0x2a " + given);
        const auto request = peer.receive();
        EXPECT_EQ(request->type, kEcho);
        EXPECT_EQ(request->flags, VOS_MSG_FLAG_REQUEST);
        EXPECT_EQ(request->wordData, 42U);
        EXPECT_EQ(payload(*request), sent);
        peer.echo(*request, VOS_RET_OK);
        const Outcome outcome = running.get();
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out,
                  "VOS_RET_OK (0) from peer (" + peer.eid() + "), " + std::to_string(sent.size()) + " bytes\n" + dump);
        EXPECT_EQ(vosctl("event " + peer.eid() + " VOS_MSG_SAVE_LOG_TO_FLASH " + given).status, 0);
        const auto event = peer.receive();
        EXPECT_EQ(event->type, uint32_t{VOS_MSG_SAVE_LOG_TO_FLASH});
        EXPECT_EQ(event->flags, VOS_MSG_FLAG_EVENT);
        EXPECT_EQ(payload(*event), sent);
    }
    auto running = inBackground("request peer 77");
    peer.echo(*peer.receive(), VOS_RET_BAD_ARG);
    const Outcome refused = running.get();
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.out, HasSubstr("VOS_RET_BAD_ARG (9003) from peer"));
    EXPECT_EQ(refused.err, "vosctl: peer (" + peer.eid() + ") refused the request: VOS_RET_BAD_ARG (9003)\n");
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
    // How often the peer comes back and leaves the repeated request unanswered; what the shell does before it answers
    // with half of the payload; its result.
    const std::tuple<const char *, int, const char *, uint32_t, std::string> kRows[] = {
        {"ping 6000 -c 1", 0, "true", VOS_RET_BAD_ARG,
         "6000 does not answer pings: its reply has the result VOS_RET_BAD_ARG (9003) and 0 bytes, not 0 and "
         "the payload sent"},
        {"ping 6000 --size 8", 0, "true", VOS_RET_OK,
         "6000 does not answer pings: its reply has the result VOS_RET_OK (0) and 4 bytes, not 0 and the "
         "payload sent"},
        {"ping 6000 --timeout 200", 1, nullptr, VOS_RET_OK,
         "6000 came back and left the repeated request unanswered; try again"},
        {"request 6000 1", 17, nullptr, VOS_RET_OK,
         "6000 comes back again and again without an answer (VOS_RET_ERROR (9002)); 'vosctl monitor' shows its "
         "launches"},
        {"cli 6000 -- x", 0, "mkfifo /tmp/cli_remote_result", VOS_RET_OK, noResult},
        {"cli 6000 -- x", 0, "ln -s /etc/passwd /tmp/cli_remote_result", VOS_RET_OK, noResult},
        {"cli 6000 -- x", 0, "mkdir /tmp/cli_remote_result", VOS_RET_OK, noResult}};
    for (const auto &[arguments, comebacks, prepared, result, err] : kRows) {
        SCOPED_TRACE(err + arguments);
        std::optional<Peer> peer{6000U};
        auto running =
            std::async(std::launch::async, shell, "timeout 5 '" VOS_TEST_BIN_DIR "/vosctl' " + std::string{arguments});
        const auto request = peer->receive();
        for (int i = 1; i <= comebacks; i++) {
            peer.reset();
            peer.emplace(6000U);
            if (i < 17) {
                peer->receive();  // the last time it is not asked any more
            }
        }
        if (prepared != nullptr) {
            EXPECT_EQ(system(prepared), 0);
            request->dataLength /= 2;
            peer->echo(*request, result);
        }
        const Outcome outcome = running.get();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.err, "vosctl: " + err + "\n");
    }
    std::filesystem::remove_all("/tmp/cli_remote_result");
}

// A command at a hub that the test plays.
struct Script {
    explicit Script(const std::string &arguments) : running{inBackground(arguments)} {
        hub.acceptOnly();
        hub.send(vostest::message(VOS_MSG_LAUNCHED, EID_HUBD, 6000));
    }
    void answer(uint32_t result = VOS_RET_OK) {
        hub.send(vostest::message(hub.read()->header.type, EID_HUBD, 6000, VOS_MSG_FLAG_RESPONSE, result));
    }

    vostest::HubScript hub;
    std::future<Outcome> running;
};

// A monitor behind its three questions.
struct Monitor : Script {
    explicit Monitor(const std::string &arguments) : Script{"monitor " + arguments} { answer(), answer(), answer(); }
    static vostest::WireMessage copy(uint32_t type, uint32_t lost) {
        const hubproto::MonitorRecord record{.realtimeNs = 0, .verdict = 0, .lost = lost};
        return vostest::message(
            hubproto::kMonitorCopy, EID_HUBD, 6000, VOS_MSG_FLAG_EVENT, 0,
            std::string{reinterpret_cast<const char *>(&record), sizeof record} + vostest::message(type, 1, 2).bytes());
    }
};

TEST(Vosctl, MonitorCountsWhatIsLostBeforeMessagesThatItDoesNotShow) {
    Monitor monitor{"--type 2 -c 2 --json"};
    for (const auto &[type, lost] : {std::pair{1U, 4U}, {2U, 1U}, {2U, 0U}}) {
        monitor.hub.send(Monitor::copy(type, lost));
    }
    EXPECT_THAT(monitor.running.get().out, ContainsRegex("\"lost\":5,.*\n.*\"lost\":0,"));
}

TEST(Vosctl, WaitsForTheHubAsLongAsItWasTold) {
    const vostest::HubScript stopped;  // listens and does nothing
    constexpr const char *kLate = "no reply from the hub within 1000 ms; a slow peer needs a longer --timeout\n";
    vostest::expectComplaints({{"request 5 1 --timeout 20", 1, kLate},
                               {"ping peer --timeout 20", 1, kLate},
                               {"cli 5 --timeout 20 -- x", 1, kLate}});
}

TEST(Vosctl, TellsAFailedLookUpFromAnId) {
    Script script{"ping peer"};
    script.answer(VOS_RET_ERROR);
    EXPECT_EQ(script.running.get().err,
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
    EXPECT_THAT(outcome.out,
                ContainsRegex("\nhub: up [0-9.]+ s, 3 clients, .* [0-9]+ of 268435456 bytes of memory used\n"));
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
    const std::pair<const char *, std::string> kRows[] = {{"mon", "monitor"},
                                                          {"monitor --js", "--json"},
                                                          {"monitor --type VOS_MSG_REB", "VOS_MSG_REBOOT"},
                                                          {"request p", "peer"},
                                                          {"request --word 7 peer HUB_L", "HUB_LIST_CLIENTS"},
                                                          {"ping --timeout ", ""},
                                                          {"ping 6", hostile.eid()}};
    for (const auto &[line, offered] : kRows) {
        SCOPED_TRACE(line);
        setenv("LINE", line, 1);
        EXPECT_EQ(shell(R"(PATH=")" VOS_TEST_BIN_DIR
                        R"(:$PATH" bash -c '. "$0"; IFS=" " read -ra COMP_WORDS <<< "vosctl ${LINE}x"
            COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); COMP_WORDS[-1]=${COMP_WORDS[-1]%x}
            _vosctl; echo "${COMPREPLY[*]}"' ")" VOS_TEST_SOURCE_DIR R"(/tools/vosctl/vosctl.bash")")
                      .out,
                  offered + "\n");
    }
    EXPECT_NE(access("/tmp/completed", F_OK), 0);
}

}  // namespace
