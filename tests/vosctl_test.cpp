// vosctl against a real hub: what each command prints, its exit status and its advice.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <future>
#include <string>

#include "support/files.h"
#include "support/hub_process.h"
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
constexpr uint32_t kPatienceMs = 10000;

/** A daemon of this test. */
class Peer {
  public:
    explicit Peer(const char *name) { EXPECT_EQ(vosMsg_initByName(name, &handle_), VOS_RET_OK); }
    ~Peer() { vosMsg_cleanup(&handle_); }
    Peer(const Peer &) = delete;
    Peer &operator=(const Peer &) = delete;

    std::string eid() const { return std::to_string(vosMsg_getHandleEid(handle_)); }
    std::unique_ptr<VosMsgHeader, void (*)(VosMsgHeader *)> receive() {
        VosMsgHeader *msg = nullptr;
        EXPECT_EQ(vosMsg_receiveWithTimeout(handle_, &msg, kPatienceMs), VOS_RET_OK);
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
             Case{"", "A subcommand is required; see 'vosctl --help'"},
             Case{"frobnicate", "unknown command or option 'frobnicate'; see 'vosctl --help'"},
             Case{"request 5", "type is required; see 'vosctl request --help'"},
             Case{"request 5 VOS_MSG_NONE",
                  "unknown message type 'VOS_MSG_NONE'; give a number or a VOS_MSG_ name; see 'vosctl request --help'"},
             Case{"event 5 0x100000000",
                  "unknown message type '0x100000000'; give a number or a VOS_MSG_ name; see 'vosctl event --help'"},
             Case{"event 5 1 --hex 'abc'",
                  "--hex needs pairs of hexadecimal digits, not 'abc'; see 'vosctl event --help'"},
             Case{"event 5 1 --data a --hex 00", "--data excludes --hex; see 'vosctl event --help'"},
             Case{"event 5 1 --file /tmp/none", "--file: Path does not exist: /tmp/none; see 'vosctl event --help'"},
             Case{"ping echo -c 0", "--count: Value 0 not in range 1 to 100000000; see 'vosctl ping --help'"},
             Case{"monitor --count=-1", "Could not convert: --count = -1; see 'vosctl monitor --help'"},
             Case{"register ECHO --count=-1", "Could not convert: --count = -1; see 'vosctl register --help'"},
             Case{"list everything", "The following argument was not expected: everything; see 'vosctl list --help'"},
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
    for (const char *command : {"list", "ping 20", "request 5 1", "event 5 1", "monitor"}) {
        SCOPED_TRACE(command);
        const Outcome outcome = vosctl(command);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.err, "vosctl: " + noHub + "\n");
    }
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
             Case{"request deaf ECHO --timeout 20",
                  "no reply from deaf (" + deaf.eid() + ") within 20 ms; a slow peer needs a longer --timeout"},
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
    EXPECT_THAT(outcome.out, ContainsRegex("\nhub: up [0-9.]+ s, 3 clients, "));
}

TEST(Vosctl, MonitorsWhatPassesTheFilters) {
    for (const bool json : {false, true}) {
        SCOPED_TRACE(json);
        const HubProcess hub{{"--trace"}};
        const Peer peer{"peer \"x\""};
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
                                             ",\"dstName\":\"peer \\\\\"x\\\\\"\",\"flags\":1,"
                                             "\"flagNames\":\"event\",\"word\":3,\"length\":2,\"payload\":\"6869\".\n$"
                                       : "^[0-9:.]+ 0x5678 vosctl\\([0-9]+\\) -> peer \"x\"\\(" + peer.eid() +
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
