// The development hub as its clients see it: launch, routing, services, and what a bad client can do to others.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "../tools/common/hub_protocol.h"
#include "support/effort.h"
#include "support/files.h"
#include "support/hub_process.h"
#include "support/hub_script.h"
#include "vos/mem.h"
#include "vos/msg.h"

using testing::HasSubstr;
using vostest::HubProcess;
using vostest::message;
using vostest::WireMessage;

namespace {

constexpr uint32_t kType = 0x1000abcd;
constexpr uint16_t kEvent = VOS_MSG_FLAG_EVENT;
constexpr uint16_t kRequest = VOS_MSG_FLAG_REQUEST;
constexpr uint16_t kReply = VOS_MSG_FLAG_RESPONSE;

WireMessage announcement(VosEntityId eid, const std::string &name, uint32_t pid = static_cast<uint32_t>(getpid())) {
    return message(VOS_MSG_LAUNCHED, eid, EID_HUBD, kEvent, pid, name + '\0' + "/bin/daemon" + '\0');
}

/** A connection to the hub. */
class Peer {
  public:
    explicit Peer(const std::string &path = VOS_MSG_HUB_SOCKET_PATH)
        : fd_{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)} {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        strcpy(address.sun_path, path.c_str());
        EXPECT_EQ(connect(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    }
    /** Announces itself too. */
    explicit Peer(VosEntityId eid, const std::string &name = "") : Peer{} {
        send(announcement(eid, name));
        eid_ = receive().value_or(WireMessage{}).header.dst;
    }
    Peer(Peer &&other) noexcept : fd_{std::exchange(other.fd_, -1)}, eid_{other.eid_} {}
    ~Peer() { end(); }

    VosEntityId eid() const { return eid_; }
    void end() { close(std::exchange(fd_, -1)); }

    void sendBytes(const std::string &bytes) const {
        ASSERT_EQ(::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    void send(const WireMessage &msg) const { sendBytes(msg.bytes()); }
    /** The next message; nothing at the end of the connection. */
    std::optional<WireMessage> receive() const {
        VosMsgHeader *msg = nullptr;
        uint32_t timeoutMs = vostest::patienceMs();
        const VosRet ret = oalVosMsg_receive(fd_, &msg, &timeoutMs);
        EXPECT_NE(ret, VOS_RET_TIMEOUT);
        if (ret != VOS_RET_OK) {
            return std::nullopt;
        }
        WireMessage result{*msg, {reinterpret_cast<const char *>(msg + 1), msg->dataLength}};
        VOS_FREE(msg);
        return result;
    }
    /** Everything that has come by now: what the hub did before it answers this. */
    std::vector<WireMessage> drain() const {
        std::vector<WireMessage> all;
        send(message(hubproto::kEcho, eid_, EID_HUBD, kRequest));
        for (auto msg = receive(); msg && msg->header.type != hubproto::kEcho; msg = receive()) {
            all.push_back(*msg);
        }
        return all;
    }
    /** A request to the hub and its reply. */
    WireMessage ask(uint32_t type, uint32_t wordData = 0, const std::string &payload = {}) const {
        send(message(type, eid_, EID_HUBD, kRequest, wordData, payload));
        WireMessage reply = receive().value_or(WireMessage{});
        EXPECT_EQ(reply.header.type, type);
        EXPECT_EQ(reply.header.flags, kReply);
        EXPECT_EQ(reply.header.src, VosEntityId{EID_HUBD});
        EXPECT_EQ(reply.header.dst, eid_);
        return reply;
    }
    uint32_t askResult(uint32_t type, uint32_t wordData = 0, const std::string &payload = {}) const {
        return ask(type, wordData, payload).header.wordData;
    }
    template <typename T>
    T askFor(uint32_t type) const {
        T value{};
        const std::string payload = ask(type).payload;
        EXPECT_EQ(payload.size(), sizeof value);
        memcpy(&value, payload.data(), std::min(payload.size(), sizeof value));
        return value;
    }
    std::vector<hubproto::ClientRow> askForClients() const { return rowsOf(ask(hubproto::kListClients)); }
    static std::vector<hubproto::ClientRow> rowsOf(const WireMessage &list) {
        std::vector<hubproto::ClientRow> rows(list.payload.size() / sizeof(hubproto::ClientRow));
        memcpy(rows.data(), list.payload.data(), rows.size() * sizeof rows[0]);
        return rows;
    }

  private:
    int fd_;
    VosEntityId eid_ = 0;
};

std::vector<std::string> bytesOf(const std::vector<WireMessage> &messages) {
    std::vector<std::string> all;
    for (const WireMessage &msg : messages) {
        all.push_back(msg.bytes());
    }
    return all;
}

std::set<rlim_t> descriptorsOf(const HubProcess &hub) {
    std::set<rlim_t> all;
    for (const auto &entry : std::filesystem::directory_iterator{"/proc/" + std::to_string(hub.pid()) + "/fd"}) {
        all.insert(std::stoul(entry.path().filename()));
    }
    return all;
}

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
    const Peer holder{300, "holder"};
    const std::string longName(600, 'n');
    const Peer longHolder{302, longName};
    struct Case {
        WireMessage first;
        std::string line;
    };
    const auto pid = static_cast<uint32_t>(getpid());
    for (const Case &c :
         {Case{announcement(300, "thief"), "entity id 300 is held by holder (eid 300, pid"},
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
    server.send(message(kType, 200, 101, kReply, 1));
    EXPECT_EQ(server.drain().size(), 2U);
    server.end();
    const Peer returned{200};
    EXPECT_EQ(bytesOf(waiting.drain()), std::vector{message(VOS_MSG_RESEND_REQUEST, 200, 100, kEvent).bytes()});
    EXPECT_EQ(answered.drain().size(), 1U) << "only its answer";
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
    const Peer climber{0, "../../up"};
    const std::string own = climber.ask(VOS_MSG_GET_PLUGIN_CFG_DIR).payload;
    EXPECT_EQ(own, (dir / "data").string() + "/eid-" + std::to_string(climber.eid()) + '/' + '\0');
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
         {std::tuple{copies[0], msg, hubproto::Verdict::delivered},
          {copies[1], message(VOS_MSG_HEARTBEAT, 100, 999, kEvent), hubproto::Verdict::noDestination}}) {
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

TEST(HubProtection, GivesUpAReaderThatDoesNotReadAndNobodyElse) {
    HubProcess hub{{"--queue-limit", "100000", "--longest-pause", "1"}};
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
    const uint32_t burst = vostest::rounds(100, 10);
    const uint32_t events = vostest::rounds(3000, 300);
    const HubProcess hub{{"--queue-limit", std::to_string(300 * events), "--longest-pause", "20000"}};
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
    const HubProcess hub{{"--queue-limit", "1000000", "--longest-pause", "20000"}};
    const Peer greedy{100};
    const Peer modest{101};
    const uint32_t requestCount = vostest::rounds(2000, 100);
    EXPECT_TRUE(greedy.drain().empty());
    kill(hub.pid(), SIGSTOP);
    waitpid(hub.pid(), nullptr, WUNTRACED);
    std::string requests;
    for (uint32_t i = 0; i < requestCount; i++) {
        requests += message(hubproto::kListClients, 100, EID_HUBD, kRequest).bytes();
    }
    greedy.sendBytes(requests);
    modest.send(message(hubproto::kListClients, 101, EID_HUBD, kRequest));
    kill(hub.pid(), SIGCONT);
    const auto rows = Peer::rowsOf(modest.receive().value_or(WireMessage{}));
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_LT(rows[0].messagesIn, 300U) << "the others have their turn in between";
    uint32_t answered = 0;
    for (auto list = greedy.receive(); list && Peer::rowsOf(*list).at(0).messagesIn == 3 + answered;) {
        list = ++answered < requestCount ? greedy.receive() : std::nullopt;
    }
    EXPECT_EQ(answered, requestCount);
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

TEST(HubLife, EndsCleanlyAndReplacesOnlyADeadHubsSocket) {
    const std::string path = "/tmp/hub.sock";
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        HubProcess hub{{}, path};
        EXPECT_EQ(hub.stop(signal), 0);
        EXPECT_FALSE(std::filesystem::exists(path));
    }
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

/** A vos-hubd whose child `prepare()` sets its descriptors up; to be awaited with waitpid(). */
template <typename Prepare>
pid_t startHub(Prepare prepare) {
    const pid_t hub = fork();
    if (hub == 0) {
        prepare();
        execl(VOS_TEST_BIN_DIR "/vos-hubd", "vos-hubd", "--trace", nullptr);
        _exit(127);
    }
    return hub;
}

int endOf(pid_t hub) {
    kill(hub, SIGTERM);
    int status = -1;
    EXPECT_EQ(waitpid(hub, &status, 0), hub);
    return status;
}

TEST(HubLife, GoesOnAlthoughNobodyReadsItsReportAndEndsAlthoughNobodyReadsTheTrace) {
    int trace[2];
    int report[2];
    ASSERT_EQ(pipe(trace) + pipe(report), 0);
    fcntl(trace[1], F_SETPIPE_SZ, 2 * PIPE_BUF);
    fcntl(report[1], F_SETPIPE_SZ, PIPE_BUF);
    const pid_t hub = startHub([&] {
        dup2(trace[1], STDOUT_FILENO);
        dup2(report[1], STDERR_FILENO);
    });
    char text[PIPE_BUF + 1] = "";
    EXPECT_EQ(read(report[0], text, 1), 1) << "it says that it listens";
    const auto refused = [] {
        const Peer peer;
        peer.send(announcement(EID_HUBD, std::string(50, 'n')));
        EXPECT_FALSE(peer.receive());
    };
    for (int i = 0; i < PIPE_BUF / 50; i++) {
        refused();
    }
    EXPECT_GT(read(report[0], text, PIPE_BUF), 0);
    refused();
    EXPECT_GT(read(report[0], text, PIPE_BUF), 0);
    EXPECT_THAT(text, HasSubstr(" lines before this one are lost\nvos-hubd: disconnecting"));

    const Peer peer{VosEntityId{9}};
    for (int i = 0; i < 200; i++) {
        peer.send(message(kType, 9, 9, kEvent));
    }
    for (int waiting = 0; waiting <= PIPE_BUF; ioctl(trace[0], FIONREAD, &waiting)) {
        std::this_thread::yield();
    }
    EXPECT_EQ(endOf(hub), 0);
    EXPECT_FALSE(std::filesystem::exists(VOS_MSG_HUB_SOCKET_PATH));
    for (const int fd : {trace[0], trace[1], report[0], report[1]}) {
        close(fd);
    }
}

TEST(HubLife, NeedsNoStandardOutput) {
    int report[2];
    ASSERT_EQ(pipe(report), 0);
    const pid_t hub = startHub([&] {
        dup2(report[1], STDERR_FILENO);
        close(STDOUT_FILENO);
    });
    char first = 0;
    EXPECT_EQ(read(report[0], &first, 1), 1) << "it says that it listens";
    for (const VosEntityId eid : {300U, 301U}) {
        const Peer peer{eid};
        EXPECT_EQ(peer.eid(), eid);
        EXPECT_TRUE(peer.drain().empty());
    }
    EXPECT_EQ(endOf(hub), 0);
    close(report[0]);
    close(report[1]);
}

TEST(HubLife, RefusesWrongCommandLinesInOneLine) {
    vostest::writeText("/tmp/file", "precious");
    struct Case {
        std::vector<std::string> arguments;
        int status;
        std::string text;
    };
    for (const Case &c : {Case{{"--nonsense"}, 2, "--nonsense"}, Case{{"--queue-limit", "0"}, 2, "--queue-limit"},
                          Case{{"--payload-limit", "many"}, 2, "--payload-limit"},
                          Case{{"--socket", "/tmp/file"}, 1, "/tmp/file exists and is no socket"},
                          Case{{"--socket", "/nowhere/hub"}, 1, "cannot open /nowhere"},
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
