// The development hub as its clients see it: launch, routing, services and copies for observers.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "support/files.h"
#include "support/hub_peer.h"
#include "support/hub_process.h"

using vostest::announcement;
using vostest::bytesOf;
using vostest::HubProcess;
using vostest::kEvent;
using vostest::kReply;
using vostest::kRequest;
using vostest::kType;
using vostest::message;
using vostest::Peer;
using vostest::WireMessage;

namespace {

TEST(HubLaunch, GivesTheAskedIdTheTablesOrADynamicOne) {
    const HubProcess hub;
    const Peer raw;
    raw.send(announcement(300, ""));
    EXPECT_EQ(raw.receive()->bytes(), message(VOS_MSG_LAUNCHED, EID_HUBD, 300, kReply).bytes());

    EXPECT_EQ(Peer(0, "gponproxy").eid(), 42048U);
    EXPECT_EQ(Peer(0xFFFFFFF0U).eid(), 0xFFFFFFF0U);
    const VosEntityId led = Peer(0, "led").eid();
    const Peer other{0, "other"};
    EXPECT_EQ(led, 0x10000U);
    EXPECT_EQ(other.eid(), 0x10001U);
    const Peer again{0, "led"};
    EXPECT_EQ(again.eid(), led) << "who comes back keeps its id";
    const Peer second{0, "led"};
    EXPECT_EQ(second.eid(), 0x10002U) << "while it runs, a second one gets its own";
    {
        const Peer impatient{0, "tool"};
        impatient.send(message(kType, impatient.eid(), led, kRequest));
        EXPECT_EQ(again.receive()->header.src, impatient.eid());
    }
    EXPECT_GT(Peer(0, "tool").eid(), 0x10003U) << "a late reply must not reach the next one";
}

TEST(HubLaunch, RefusesWithALogLine) {
    const HubProcess hub{{"--announce-timeout", "50"}};
    const Peer holder{300, "hol\nder"};
    const std::string longName(600, 'n');
    const Peer longHolder{302, longName};
    struct Case {
        WireMessage first;
        std::string line;
    };
    const auto pid = static_cast<uint32_t>(getpid());
    for (const Case &c :
         {Case{announcement(300, "thief"), "entity id 300 is held by hol.der (eid 300, pid"},
          Case{announcement(302, ""), "is held by " + longName.substr(0, 63) + " (eid 302, pid"},
          Case{announcement(0, "hubd"), "entity id 20 is held by the hub"},
          Case{announcement(301, "", pid + 1), "announces process id " + std::to_string(pid + 1)},
          Case{message(kType, 300, 20), "its first message is no announcement"},
          Case{message(VOS_MSG_LAUNCHED, 0, 20, kEvent, pid, "name"), "its announcement is broken"},
          Case{message(VOS_MSG_LAUNCHED, 0, 20, kEvent, pid, std::string(5000, 'x')), "a longer payload than 4096"},
          Case{WireMessage{}, "never announced itself"}}) {
        SCOPED_TRACE(c.line);
        const Peer peer;
        if (c.first.header.type != 0) {
            peer.send(c.first);
        }
        EXPECT_FALSE(peer.receive());
        EXPECT_TRUE(hub.awaitOutput(c.line));
    }
    EXPECT_TRUE(holder.drain().empty());
    holder.send(announcement(300, ""));
    EXPECT_FALSE(holder.receive()) << "announcing oneself twice";
    EXPECT_EQ(Peer(0, "new").askFor<hubproto::HubCounters>(hubproto::kGetCounters).disconnects, 9U);
}

TEST(HubLaunch, TakesTheIdThatAProcessHasInANamespaceOfItsOwn) {
    const HubProcess hub;
    pid_t child = fork();
    if (child == 0) {
        if (unshare(CLONE_NEWPID) != 0) {
            _exit(2);
        }
        child = fork();
        if (child == 0) {
            const Peer first{300};
            const Peer liar;
            liar.send(announcement(301, "", 2));
            _exit(getpid() == 1 && first.eid() == 300 && !liar.receive() ? 0 : 1);
        }
        int status = 0;
        waitpid(child, &status, 0);
        _exit(WEXITSTATUS(status));
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(hub.awaitOutput("announces process id 2, which is not its own"));
}

TEST(HubRouting, CarriesMessagesUnchangedToTheirDestination) {
    const HubProcess hub;
    const Peer a{100};
    const Peer b{101};
    const Peer c{102};
    std::vector<std::string> forB;
    std::vector<std::string> forC;
    std::string stream;
    for (uint32_t i = 0; i < 50; i++) {
        const bool toB = i % 7 < 4;
        WireMessage msg = message(kType + i, 100, toB ? 101 : 102, kEvent, i, std::string(i * 11, 'x'));
        msg.header.sequenceNumber = 9;
        (toB ? forB : forC).push_back(msg.bytes());
        stream += msg.bytes();
    }
    a.sendBytes(stream);
    EXPECT_TRUE(a.drain().empty());
    EXPECT_EQ(bytesOf(b.drain()), forB);
    EXPECT_EQ(bytesOf(c.drain()), forC);
}

TEST(HubRouting, JoinsMessagesFromPieces) {
    const HubProcess hub;
    const Peer a{100};
    const Peer b{101};
    const std::string small = message(kType, 100, 101, kEvent, 1, "hello").bytes();
    const std::string big = message(kType, 100, 101, kEvent, 2, std::string(3 << 20, 'b')).bytes();
    for (const size_t piece : {size_t{1}, size_t{31}, size_t{33}, size_t{50}}) {
        SCOPED_TRACE(piece);
        const std::string stream = small + small + small;
        for (size_t at = 0; at < stream.size(); at += piece) {
            a.sendBytes(stream.substr(at, piece));
            const Peer between{500};  // the hub has read the piece when it answers this
        }
        EXPECT_EQ(bytesOf(b.drain()), (std::vector<std::string>{small, small, small}));
    }
    a.sendBytes(big + small + big);
    for (const std::string &expected : {big, small, big}) {
        EXPECT_EQ(b.receive()->bytes(), expected);
    }
}

TEST(HubRouting, AnswersForAbsentOnesAndCountsTheirEvents) {
    const HubProcess hub;
    const Peer a{100};
    for (const uint16_t kept : {uint16_t{0}, uint16_t{VOS_MSG_FLAG_KEEP}, uint16_t{VOS_MSG_FLAG_SRPC}}) {
        a.send(message(kType, 100, 999, static_cast<uint16_t>(kRequest | kept), 5, "data"));
        EXPECT_EQ(a.receive()->bytes(),
                  message(kType, 999, 100, static_cast<uint16_t>(kReply | kept), VOS_RET_PEER_GONE).bytes());
    }
    a.send(message(kType, 100, 999, kEvent));
    a.send(message(kType, 100, 999, kReply));
    const auto counters = a.askFor<hubproto::HubCounters>(hubproto::kGetCounters);
    EXPECT_EQ(counters.peerGoneReplies, 3U);
    EXPECT_EQ(counters.eventsDropped, 2U);
    EXPECT_EQ(a.askResult(kType), VOS_RET_ERROR) << "a request that the hub does not know";
}

TEST(HubRouting, WakesAProcessWhosePutBackQueueHoldsMessages) {
    const HubProcess hub;
    VosMsgHandle *handle = nullptr;
    ASSERT_EQ(vosMsg_init(100, &handle), VOS_RET_OK);
    const Peer b{101};
    std::thread server{[&] {
        const auto request = b.receive();
        b.send(message(kType + 1, 101, 100, kEvent));
        b.send(message(kType, 101, 100, kReply, 77));
    }};
    const WireMessage request = message(kType, 100, 101, kRequest);
    EXPECT_EQ(vosMsg_sendAndGetReplyWithTimeout(handle, &request.header, vostest::patienceMs()), 77U);
    server.join();
    for (const uint32_t expected : {kType + 1, uint32_t{VOS_MSG_REQUEUE_WAKEUP}}) {
        VosMsgHeader *msg = nullptr;
        ASSERT_EQ(vosMsg_receiveWithTimeout(handle, &msg, vostest::patienceMs()), VOS_RET_OK);
        EXPECT_EQ(msg->type, expected);
        VOS_FREE(msg);
    }
    vosMsg_cleanup(&handle);
    const WireMessage toNobody = message(VOS_MSG_REQUEUE_WAKEUP, 1, 999, VOS_MSG_FLAG_REQUEUE);
    b.send(toNobody);
    EXPECT_EQ(bytesOf(b.drain()), std::vector{toNobody.bytes()}) << "back to the sender rather than lost";
}

TEST(HubRouting, AsksForUnansweredRequestsAgainWhenTheDestinationReturns) {
    const HubProcess hub;
    const Peer waiting{100};
    const Peer answered{101};
    Peer server{200};
    for (const Peer *client : {&waiting, &answered}) {
        client->send(message(kType, client->eid(), 200, kRequest));
        EXPECT_TRUE(client->drain().empty());
    }
    const Peer other{201};
    const Peer greedy{102};
    for (uint32_t i = 0; i <= 256; i++) {
        greedy.send(message(kType + i, 102, i == 0 ? 200 : 201, kRequest));
    }
    EXPECT_TRUE(greedy.drain().empty());
    server.send(message(kType, 200, 101, kReply, 1));
    EXPECT_EQ(server.drain().size(), 3U);
    server.end();
    const Peer returned{200};
    EXPECT_EQ(bytesOf(waiting.drain()), std::vector{message(VOS_MSG_RESEND_REQUEST, 200, 100, kEvent).bytes()});
    EXPECT_EQ(answered.drain().size(), 1U) << "only its answer";
    EXPECT_TRUE(greedy.drain().empty()) << "its latest 256 requests are remembered";
}

TEST(HubServices, CopyEventsToThoseWhoRegistered) {
    HubProcess hub;
    const Peer a{100};
    Peer b{101};
    EXPECT_EQ(a.askResult(VOS_MSG_UNREGISTER_EVENT_INTEREST, kType), VOS_RET_NOT_IN_LIST);
    for (const Peer *peer : std::initializer_list<const Peer *>{&a, &b, &b}) {
        EXPECT_EQ(peer->askResult(VOS_MSG_REGISTER_EVENT_INTEREST, kType), VOS_RET_OK);
    }
    a.send(message(kType, 100, EID_HUBD, kEvent, 3, "news"));
    a.send(message(kType + 1, 100, EID_HUBD, kEvent, 3, "not wanted"));
    EXPECT_EQ(bytesOf(a.drain()), std::vector{message(kType, 100, 100, kEvent, 3, "news").bytes()});
    EXPECT_EQ(bytesOf(b.drain()), std::vector{message(kType, 100, 101, kEvent, 3, "news").bytes()});
    EXPECT_EQ(a.askResult(VOS_MSG_UNREGISTER_EVENT_INTEREST, kType), VOS_RET_OK);
    b.send(message(kType, 101, EID_HUBD, kEvent));
    EXPECT_EQ(b.drain().size(), 1U);
    EXPECT_TRUE(a.drain().empty());
    b.end();
    const Peer next{102};
    a.send(message(kType, 100, EID_HUBD, kEvent));
    EXPECT_TRUE(a.drain().empty());
    EXPECT_TRUE(next.drain().empty()) << "an interest ends with who had it";
    EXPECT_EQ(hub.stop(SIGTERM), 0);
}

TEST(HubServices, DeliverDelayedMessagesInOrderOfExpiry) {
    const HubProcess hub;
    const Peer a{100};
    const auto delay = [](uint32_t ms) { return std::string{reinterpret_cast<const char *>(&ms), sizeof ms}; };
    for (const auto &[word, ms] : {std::pair{1U, 60U}, {2U, 30U}, {3U, 3600000U}, {4U, 20U}, {5U, 30U}, {6U, 0U}}) {
        a.send(message(VOS_MSG_REGISTER_DELAYED_MSG, 100, EID_HUBD, 0, word, delay(ms)));  // no reply wanted
    }
    a.send(message(VOS_MSG_UNREGISTER_DELAYED_MSG, 100, EID_HUBD, 0, 4));
    for (const uint32_t word : {6U, 2U, 5U, 1U}) {
        EXPECT_EQ(a.receive()->bytes(), message(VOS_MSG_REGISTER_DELAYED_MSG, EID_HUBD, 100, kEvent, word).bytes());
    }
    EXPECT_EQ(a.askResult(VOS_MSG_UNREGISTER_DELAYED_MSG, 4), VOS_RET_OK) << "nothing is due any more";
    EXPECT_EQ(a.askResult(VOS_MSG_REGISTER_DELAYED_MSG, 7, "abc"), VOS_RET_BAD_ARG);
    EXPECT_EQ(a.askResult(VOS_MSG_REGISTER_DELAYED_MSG, 7, delay(3600000)), VOS_RET_OK);
}

TEST(HubServices, KnowEntities) {
    const HubProcess hub;
    const Peer a{0, "led"};
    const auto idOf = [&](const char *name) {
        return a.askResult(VOS_MSG_GET_EID_BY_APP_NAME, 0, std::string{name} + '\0');
    };
    EXPECT_EQ(idOf("led"), a.eid());
    EXPECT_EQ(idOf("guardd"), VosEntityId{EID_GUARDD});
    EXPECT_EQ(idOf("nobody"), 0U);
    const std::string longName(3900, 'n');
    const Peer longNamed{0, longName};
    EXPECT_EQ(idOf(longName.substr(0, 63).c_str()), longNamed.eid()) << "names end there";
    EXPECT_EQ(idOf(longName.c_str()), longNamed.eid());
    const Peer usurper{5000, "led"};
    EXPECT_EQ(idOf("led"), a.eid()) << "who got its id by the name is first";
    const Peer named{5001, "by id"};
    const Peer unnamed{5002};
    EXPECT_EQ(idOf("by id"), 5001U);
    EXPECT_EQ(idOf("daemon"), 5002U) << "the name of its program";
    const Peer first{0, "double"};
    {
        const Peer second{0, "double"};
        EXPECT_EQ(idOf("double"), second.eid());
    }
    while (a.askForClients().size() > 6) {
    }
    EXPECT_EQ(idOf("double"), first.eid()) << "the one that is still there";
    EXPECT_EQ(a.askResult(VOS_MSG_IS_APP_RUNNING, a.eid()), VOS_RET_OK);
    EXPECT_EQ(a.askResult(VOS_MSG_IS_APP_RUNNING, EID_HUBD), VOS_RET_OK);
    EXPECT_EQ(a.askResult(VOS_MSG_IS_APP_RUNNING, EID_GUARDD), VOS_RET_PEER_GONE);

    struct Case {
        const char *name;
        VosEntityId eid;
        VosRet ret;
    };
    for (const Case &c :
         {Case{"meter", 7000, VOS_RET_OK}, Case{"meter", 7001, VOS_RET_OK}, Case{"other", 7001, VOS_RET_BAD_ARG},
          Case{"other", EID_HUBD, VOS_RET_BAD_ARG}, Case{"guardd", 7002, VOS_RET_BAD_ARG},
          Case{"", 7003, VOS_RET_BAD_ARG}, Case{"free", 0, VOS_RET_OK}, Case{"by id", 0, VOS_RET_OK}}) {
        SCOPED_TRACE(testing::Message() << c.name << " " << c.eid);
        hubproto::EntityDescription description{};
        strcpy(description.name, c.name);
        description.eid = c.eid;
        const std::string bytes{reinterpret_cast<const char *>(&description), sizeof description};
        EXPECT_EQ(a.askResult(VOS_MSG_ADD_ENTITY_INFO, 0, bytes), c.ret);
        EXPECT_EQ(a.askResult(VOS_MSG_ADD_ENTITY_INFO, 0, bytes + "x"), VOS_RET_BAD_ARG);
    }
    EXPECT_EQ(idOf("meter"), 7001U);
    EXPECT_EQ(idOf("by id"), 5001U) << "who runs keeps its id";
    EXPECT_EQ(Peer(0, "meter").eid(), 7001U);
    EXPECT_EQ(Peer(0, "free").eid(), idOf("free"));
    const auto forget = [&](const std::string &name) { return a.askResult(VOS_MSG_DEL_ENTITY_INFO, 0, name); };
    EXPECT_EQ(forget(std::string{"meter"} + '\0'), VOS_RET_OK);
    EXPECT_EQ(forget(std::string{"meter"} + '\0'), VOS_RET_NOT_IN_LIST);
    EXPECT_EQ(forget("unterminated"), VOS_RET_BAD_ARG);
    EXPECT_EQ(idOf("meter"), 0U);
}

TEST(HubServices, RefuseMoreThanAClientMayHave) {
    struct Row {
        uint32_t type;
        size_t most;
    };
    constexpr uint32_t kHourMs = 3600000;
    const HubProcess hub;
    const Peer other{101};
    Peer a{100};
    for (const Row &row : {Row{VOS_MSG_REGISTER_EVENT_INTEREST, 4096}, Row{VOS_MSG_REGISTER_DELAYED_MSG, 4096},
                           Row{VOS_MSG_ADD_ENTITY_INFO, 1024}}) {
        SCOPED_TRACE(row.type);
        for (uint32_t i = 0; i <= row.most; i++) {
            hubproto::EntityDescription entity{};
            snprintf(entity.name, sizeof entity.name, "entity%u", i);
            const bool names = row.type == VOS_MSG_ADD_ENTITY_INFO;
            const void *payload = names ? static_cast<const void *>(&entity) : &kHourMs;
            const uint32_t result =
                a.askResult(row.type, i, {static_cast<const char *>(payload), names ? sizeof entity : sizeof kHourMs});
            ASSERT_EQ(result, i < row.most ? VOS_RET_OK : VOS_RET_NO_RESOURCE) << i;
        }
    }
    EXPECT_TRUE(hub.awaitOutput("refusing an interest in events to routed (eid 100, pid " + std::to_string(getpid()) +
                                "): there are 4096 for a client"));
    a.end();
    while (other.askForClients().size() > 1) {
    }
    EXPECT_EQ(other.askFor<hubproto::HubCounters>(hubproto::kGetCounters).memoryUsed, 0U);
}

TEST(HubServices, HandOutPluginDirectories) {
    const vostest::TempDir dir;
    const HubProcess hub{{"--plugin-data-dir", dir / "data", "--plugin-tmp-dir", dir / "tmp"}};
    const Peer plugin{0, "com.example.led"};
    for (const auto &[kind, base] : {std::pair{0U, dir / "data"}, {1U, dir / "tmp"}}) {
        const std::string expected = base.string() + "/com.example.led/";
        EXPECT_EQ(plugin.ask(VOS_MSG_GET_PLUGIN_CFG_DIR, kind).payload, expected + '\0');
        EXPECT_TRUE(std::filesystem::is_directory(expected));
    }
    EXPECT_EQ(plugin.askResult(VOS_MSG_GET_PLUGIN_CFG_DIR, 2), VOS_RET_BAD_ARG);
    const Peer climber{500, "../../up"};
    const Peer deep{501, "a/../../../up"};
    const std::string data = (dir / "data").string();
    EXPECT_EQ(climber.ask(VOS_MSG_GET_PLUGIN_CFG_DIR).payload, data + "/eid-500/" + '\0');
    EXPECT_EQ(deep.ask(VOS_MSG_GET_PLUGIN_CFG_DIR).payload, data + "/a_.._.._.._up/" + '\0');
}

TEST(HubServices, KeepHeartbeatsWatchdogAndCountersForTheList) {
    const HubProcess hub;
    const Peer a{100, "first"};
    const Peer b{50, "second"};
    EXPECT_EQ(a.askForClients().at(0).lastHeartbeatMs, UINT64_MAX);
    b.send(message(VOS_MSG_HEARTBEAT, 50, EID_HUBD));
    b.send(message(VOS_MSG_HEARTBEAT, 50, EID_HUBD));
    b.send(message(VOS_MSG_STOP_WATCHDOG, 50, EID_HUBD));
    EXPECT_EQ(b.askResult(VOS_MSG_REBOOT), VOS_RET_OK);
    EXPECT_TRUE(hub.awaitOutput("second (eid 50, pid " + std::to_string(getpid()) + ") asks for a reboot"));

    const auto rows = a.askForClients();
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].eid, 50U) << "in order of id";
    EXPECT_EQ(rows[0].pid, static_cast<uint32_t>(getpid()));
    EXPECT_STREQ(rows[0].name, "second");
    EXPECT_STREQ(rows[0].path, "/bin/daemon");
    EXPECT_EQ(rows[0].heartbeats, 2U);
    EXPECT_LT(rows[0].lastHeartbeatMs, UINT64_MAX);
    EXPECT_EQ(rows[0].watchdogStopped, 1);
    EXPECT_EQ(rows[0].messagesIn, 5U);
    EXPECT_EQ(rows[0].messagesOut, 2U);
    EXPECT_EQ(rows[1].heartbeats, 0U);
    const auto counters = a.askFor<hubproto::HubCounters>(hubproto::kGetCounters);
    EXPECT_EQ(counters.clients, 2U);
    EXPECT_EQ(counters.hubRequests, 4U);
}

TEST(HubObservers, GetACopyOfWhatIsRoutedAndALineOfTrace) {
    const HubProcess hub{{"--trace"}};
    const Peer monitor{50};
    const Peer a{100, "first"};
    const Peer b{101};
    EXPECT_EQ(monitor.askResult(hubproto::kMonitorAttach), VOS_RET_OK);
    const WireMessage msg = message(kType, 100, 101, kRequest, 7, std::string("hello\n\x01 a long payload", 22));
    a.send(msg);
    a.send(message(VOS_MSG_HEARTBEAT, 100, 999, kEvent));
    EXPECT_TRUE(a.drain().empty());
    const auto copies = monitor.drain();
    ASSERT_GE(copies.size(), 2U);
    for (const auto &[copy, original, verdict] :
         {std::tuple{copies[0], msg, hubproto::Verdict::kDelivered},
          {copies[1], message(VOS_MSG_HEARTBEAT, 100, 999, kEvent), hubproto::Verdict::kNoDestination}}) {
        EXPECT_EQ(copy.header.type, uint32_t{hubproto::kMonitorCopy});
        hubproto::MonitorRecord record;
        ASSERT_GE(copy.payload.size(), sizeof record);
        memcpy(&record, copy.payload.data(), sizeof record);
        EXPECT_EQ(record.verdict, static_cast<uint32_t>(verdict));
        EXPECT_EQ(record.lost, 0U);
        EXPECT_EQ(copy.payload.substr(sizeof record), original.bytes());
    }
    EXPECT_TRUE(
        hub.awaitOutput(" 0x1000abcd first(100) -> dhcpd(101) request word=7 len=22 [delivered] "
                        "68 65 6c 6c 6f 0a 01 20 61 20 6c 6f 6e 67 20 70 |hello.. a long p|...\n"));
    EXPECT_TRUE(hub.awaitOutput(" VOS_MSG_HEARTBEAT first(100) -> (999) event word=0 len=0 [nobody there]\n"));
}

TEST(HubObservers, MustBeOfTheSameUser) {
    const HubProcess hub;
    chmod(VOS_MSG_HUB_SOCKET_PATH, 0777);
    const pid_t child = fork();
    if (child == 0) {
        if (setuid(12345) != 0) {
            _exit(2);
        }
        const Peer stranger{60};
        _exit(stranger.askResult(hubproto::kMonitorAttach) == VOS_RET_SYS_REFUSED ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WEXITSTATUS(status) == 2) {
        GTEST_SKIP() << "there is no second user in this namespace";
    }
    EXPECT_EQ(status, 0);
}

}  // namespace
