// The connection to the hub: handshake, whole messages in any number of pieces, ends, signals and time-outs.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>

#include "support/effort.h"
#include "support/files.h"
#include "support/hub_script.h"
#include "support/leak.h"
#include "support/syslog_catcher.h"
#include "vos/mem.h"
#include "vos/msg.h"

using vostest::HubScript;
using vostest::message;
using vostest::WireMessage;

namespace {

struct SocketPair {
    SocketPair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0); }
    ~SocketPair() {
        closeMine();
        closePeer();
    }
    int mine() const { return fds[0]; }
    int peer() const { return fds[1]; }
    void closeMine() { closeOne(fds[0]); }
    void closePeer() { closeOne(fds[1]); }
    void put(const std::string &bytes) const {
        ASSERT_EQ(write(peer(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    /** Waits until the reader has taken everything written so far. */
    void awaitTaken() const {
        int queued = 1;
        while (ioctl(peer(), SIOCOUTQ, &queued) == 0 && queued > 0) {
            std::this_thread::yield();
        }
    }

  private:
    static void closeOne(int &fd) {
        if (fd >= 0) {
            close(fd);
            fd = -1;
        }
    }
    int fds[2] = {-1, -1};
};

struct Received {
    VosRet ret;
    uint32_t timeLeft;
    std::optional<std::string> bytes;
};

Received receive(int fd, std::optional<uint32_t> timeoutMs = vostest::patienceMs()) {
    auto *msg = reinterpret_cast<VosMsgHeader *>(1);
    uint32_t left = timeoutMs.value_or(0);
    Received result{oalVosMsg_receive(fd, &msg, timeoutMs ? &left : nullptr), 0, std::nullopt};
    result.timeLeft = left;
    if (msg != nullptr) {
        result.bytes = std::string{reinterpret_cast<char *>(msg), sizeof *msg + msg->dataLength};
        VOS_FREE(msg);
    }
    return result;
}

const WireMessage kMessage = message(0x10001234, 7, 8, VOS_MSG_FLAG_EVENT, 99, "hello");

TEST(Launch, AnnouncesIdOrNameAndTakesTheAnsweredId) {
    const std::string exe = std::filesystem::read_symlink("/proc/self/exe");
    const vostest::TempDir dir;
    std::filesystem::create_directory(dir / "work");
    vostest::writeText(dir / "Info.plugin", "Version: 1\nName : com.example.led \r\n");
    struct Case {
        const char *what;
        VosEntityId eid;
        const char *name;
        std::string announced;
    };
    const std::string longName(70, 'n');
    const auto back = std::filesystem::current_path();
    std::filesystem::current_path(dir / "work");
    for (const Case &c : {Case{"by id the name is empty", 300, "unused", ""}, Case{"by name", 0, "snmpd", "snmpd"},
                          Case{"a long name is cut", 0, longName.c_str(), longName.substr(0, 63)},
                          Case{"by plug-in name", 0, nullptr, "com.example.led"}}) {
        SCOPED_TRACE(c.what);
        HubScript hub;
        VosMsgHandle *handle = nullptr;
        ASSERT_EQ(hub.launch(4711, [&] { return oalVosMsg_init(c.eid, c.name, &handle); }), VOS_RET_OK);
        const VosMsgHeader &header = hub.announcement().header;
        EXPECT_EQ(header.type, 0x10000251U);
        EXPECT_EQ(header.src, c.eid);
        EXPECT_EQ(header.dst, 20U);
        EXPECT_EQ(header.flags, VOS_MSG_FLAG_EVENT);
        EXPECT_EQ(header.wordData, static_cast<uint32_t>(getpid()));
        EXPECT_EQ(hub.announcement().payload, c.announced + '\0' + exe + '\0');
        EXPECT_EQ(vosMsg_getHandleEid(handle), 4711U);
        int32_t fd = -1;
        EXPECT_EQ(vosMsg_getEventHandle(handle, &fd), VOS_RET_OK);
        EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
        vosMsg_cleanup(&handle);
        EXPECT_EQ(handle, nullptr);
    }
    std::filesystem::current_path(back);
}

TEST(Launch, FailsCleanlyWithoutAHubAndWhenItHangsUp) {
    auto *const untouched = reinterpret_cast<VosMsgHandle *>(8);
    VosMsgHandle *handle = untouched;
    const size_t before = vostest::openDescriptors();
    {
        vostest::Diagnostics diagnostics;
        EXPECT_EQ(vosMsg_init(9, &handle), VOS_RET_ERROR);
        EXPECT_EQ(diagnostics.takeBodies(),
                  (std::vector<std::string>{"connect to /var/hubd_messaging_server_addr failed, rc=-1 errno=2"}));
    }
    EXPECT_EQ(vosMsg_init(9, nullptr), VOS_RET_BAD_ARG);
    {
        HubScript hub;
        std::thread quitter{[&] {
            hub.acceptOnly();
            hub.hangUp();
        }};
        EXPECT_EQ(vosMsg_init(9, &handle), VOS_RET_ERROR);
        quitter.join();
    }
    EXPECT_EQ(handle, untouched);
    EXPECT_EQ(vostest::openDescriptors(), before);
}

TEST(Receive, JoinsAMessageFromAnyTwoPieces) {
    const std::string bytes = kMessage.bytes();
    for (const bool limited : {true, false}) {
        for (size_t split = 0; split <= bytes.size(); split++) {
            SCOPED_TRACE(testing::Message() << "limited " << limited << " split " << split);
            const SocketPair pair;
            std::thread peer{[&] {
                pair.put(bytes.substr(0, split));
                pair.awaitTaken();
                pair.put(bytes.substr(split));
            }};
            const Received got = receive(pair.mine(), limited ? std::optional{vostest::patienceMs()} : std::nullopt);
            peer.join();
            EXPECT_EQ(got.ret, VOS_RET_OK);
            EXPECT_EQ(got.bytes, bytes);
        }
    }
}

TEST(Receive, TellsAPeerGoneInTheHeaderFromABrokenPayload) {
    const std::string bytes = kMessage.bytes();
    for (size_t length = 0; length < bytes.size(); length++) {
        SCOPED_TRACE(length);
        SocketPair pair;
        pair.put(bytes.substr(0, length));
        pair.closePeer();
        const Received got = receive(pair.mine());
        EXPECT_EQ(got.ret, length < sizeof(VosMsgHeader) ? VOS_RET_PEER_GONE : VOS_RET_ERROR);
        EXPECT_FALSE(got.bytes);
    }
    SocketPair reset;
    EXPECT_EQ(write(reset.mine(), "x", 1), 1);
    reset.closePeer();  // with unread data: the connection is reset, which is a bad read
    EXPECT_EQ(receive(reset.mine()).ret, VOS_RET_ERROR);
}

TEST(Receive, WritesTheTimeLeftBack) {
    const SocketPair pair;
    Received got = receive(pair.mine(), 0);
    EXPECT_EQ(got.ret, VOS_RET_TIMEOUT);
    EXPECT_EQ(got.timeLeft, 0U);
    got = receive(pair.mine(), 20);
    EXPECT_EQ(got.ret, VOS_RET_TIMEOUT);
    EXPECT_EQ(got.timeLeft, 0U);

    for (const uint32_t timeout : {0U, 5000U, 0xFFFFFFFFU}) {
        pair.put(kMessage.bytes());
        got = receive(pair.mine(), timeout);
        EXPECT_EQ(got.ret, VOS_RET_OK);
        EXPECT_EQ(got.timeLeft, timeout) << "nothing had to be waited for";
    }

    pair.put(kMessage.bytes().substr(0, 34));
    got = receive(pair.mine(), 20);
    EXPECT_EQ(got.ret, VOS_RET_TIMEOUT) << "the limit covers the payload too";
    EXPECT_FALSE(got.bytes);

    std::thread peer{[&] { pair.put(message(1, 2, 3).bytes()); }};
    got = receive(pair.mine(), 0xFFFFFFFF);
    peer.join();
    EXPECT_EQ(got.ret, VOS_RET_OK);
    EXPECT_GT(got.timeLeft, 0xFFFF0000U);
}

// Ticks every 2 ms with restarting handlers, the kind that plain signal() installs; after some ticks the handler writes
// what it was given.
class Ticker {
  public:
    Ticker(int fd, std::string late) : fd_{fd}, late_{std::move(late)} {
        current = this;
        struct sigaction action {};
        action.sa_handler = [](int) { current->tick(); };
        action.sa_flags = SA_RESTART;
        sigaction(SIGALRM, &action, nullptr);
        const itimerval every{.it_interval = {0, 2000}, .it_value = {0, 2000}};
        setitimer(ITIMER_REAL, &every, nullptr);
    }
    ~Ticker() {
        const itimerval off{};
        setitimer(ITIMER_REAL, &off, nullptr);
    }
    int ticks() const { return ticks_; }

  private:
    void tick() {
        if (++ticks_ == 5 && !late_.empty()) {
            [[maybe_unused]] const ssize_t rc = write(fd_, late_.data(), late_.size());
        }
    }
    static inline Ticker *current = nullptr;
    int fd_;
    std::string late_;
    std::atomic<int> ticks_ = 0;
};

TEST(Receive, SignalsEndOnlyAnUnlimitedWaitForANewMessage) {
    const std::string bytes = kMessage.bytes();
    const SocketPair pair;
    {
        const Ticker ticker{pair.peer(), ""};
        EXPECT_EQ(receive(pair.mine(), std::nullopt).ret, VOS_RET_ERROR);
        EXPECT_EQ(receive(pair.mine(), 20).ret, VOS_RET_TIMEOUT) << "a limited wait goes on with the time left";
        EXPECT_GE(ticker.ticks(), 2);
    }
    for (const size_t split : {size_t{1}, size_t{31}, size_t{32}, size_t{36}}) {
        SCOPED_TRACE(split);
        pair.put(bytes.substr(0, split));
        const Ticker ticker{pair.peer(), bytes.substr(split)};
        const Received got = receive(pair.mine(), std::nullopt);
        EXPECT_EQ(got.ret, VOS_RET_OK) << "a message that has begun is read whole";
        EXPECT_EQ(got.bytes, bytes);
    }
    HubScript hub;
    VosMsgHandle *handle = hub.open(50);
    {
        const Ticker ticker{hub.fd(), ""};
        VosMsgHeader *msg = nullptr;
        EXPECT_EQ(vosMsg_receive(handle, &msg), VOS_RET_ERROR);
    }
    const WireMessage request = message(kMessage.header.type, 50, 60, VOS_MSG_FLAG_REQUEST);
    int fd = -1;
    EXPECT_EQ(vosMsg_getEventHandle(handle, &fd), VOS_RET_OK);
    for (const int flags : {0, O_NONBLOCK}) {
        fcntl(fd, F_SETFL, flags);
        const Ticker ticker{hub.fd(), bytes};
        EXPECT_EQ(vosMsg_sendAndGetReply(handle, &request.header), kMessage.header.wordData) << "no wait for a reply";
    }
    vosMsg_cleanup(&handle);
}

TEST(Receive, RefusesLengthsThatDoNotFit) {
    for (const uint32_t length : {0xFFFFFFFFU, 0xFFFFFFE0U, 0xFFFFFFDFU, 0xFFFFFFCDU}) {
        SCOPED_TRACE(length);
        const SocketPair pair;
        WireMessage hostile = message(1, 2, 3);
        hostile.header.dataLength = length;
        pair.put(hostile.bytes());
        VosMemStats before;
        VosMemStats after;
        vosMem_getStats(&before);
        {
            const vostest::ExpectedLeak leak;
            EXPECT_EQ(receive(pair.mine()).ret, VOS_RET_NO_RESOURCE);
        }
        vosMem_getStats(&after);
        EXPECT_EQ(after.heapBytesInUse - before.heapBytesInUse, sizeof(VosMsgHeader));
    }
}

TEST(Receive, TouchesOnlyTheMemoryOfWhatArrived) {
    const SocketPair pair;
    WireMessage promising = message(1, 2, 3);
    promising.header.dataLength = 1 << 28;
    pair.put(promising.bytes() + "little");
    rusage before;
    rusage after;
    getrusage(RUSAGE_SELF, &before);
    EXPECT_EQ(receive(pair.mine(), 0).ret, VOS_RET_TIMEOUT);
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 1 << 16) << "KiB";
}

TEST(Receive, WorksOnHighDescriptorsAndOnPipes) {
    const rlimit limit{4096, 4096};
    setrlimit(RLIMIT_NOFILE, &limit);
    const SocketPair pair;
    const int high = fcntl(pair.mine(), F_DUPFD_CLOEXEC, 1500);
    ASSERT_GE(high, 1500);
    EXPECT_EQ(receive(high, 10).ret, VOS_RET_TIMEOUT);
    std::thread late{[&] { pair.put(kMessage.bytes()); }};
    EXPECT_EQ(receive(high).bytes, kMessage.bytes());
    late.join();
    close(high);

    int pipeFds[2];
    ASSERT_EQ(pipe(pipeFds), 0);
    EXPECT_EQ(receive(pipeFds[0], 0).ret, VOS_RET_TIMEOUT);
    const std::string bytes = kMessage.bytes();
    EXPECT_EQ(oalVosMsg_send(pipeFds[1], reinterpret_cast<const VosMsgHeader *>(bytes.data())), VOS_RET_OK);
    EXPECT_EQ(receive(pipeFds[0]).bytes, bytes);
    close(pipeFds[1]);
    EXPECT_EQ(receive(pipeFds[0], std::nullopt).ret, VOS_RET_PEER_GONE);
    close(pipeFds[0]);
}

TEST(Receive, RefusesBadArguments) {
    VosMsgHeader *msg = nullptr;
    uint32_t timeout = 10;
    EXPECT_EQ(oalVosMsg_receive(0, nullptr, &timeout), VOS_RET_BAD_ARG);
    EXPECT_EQ(oalVosMsg_receive(-1, &msg, &timeout), VOS_RET_ERROR);
    EXPECT_EQ(oalVosMsg_receive(3999, &msg, &timeout), VOS_RET_ERROR);
}

TEST(Send, ReportsDeadPeersFullSocketsAndShortWrites) {
    SocketPair pair;
    ASSERT_EQ(fcntl(pair.mine(), F_SETFL, O_NONBLOCK), 0);
    std::string big = message(1, 2, 3, 0, 0, std::string(1 << 20, 'x')).bytes();
    const auto send = [&](const std::string &bytes) {
        return oalVosMsg_send(pair.mine(), reinterpret_cast<const VosMsgHeader *>(bytes.data()));
    };
    vostest::Diagnostics diagnostics;
    EXPECT_EQ(send(big), VOS_RET_ERROR) << "only a part fits";
    EXPECT_TRUE(diagnostics.takeBodies().at(0).ends_with("expected 1048608"));
    VosRet ret = VOS_RET_OK;
    while (ret == VOS_RET_OK) {
        ret = send(kMessage.bytes());
    }
    EXPECT_EQ(ret, VOS_RET_WOULD_BLOCK);
    EXPECT_EQ(diagnostics.takeBodies().at(0), "write failed, errno=11; send msg from 7 to 8");
    pair.closePeer();
    EXPECT_EQ(send(kMessage.bytes()), VOS_RET_PEER_GONE) << "and no SIGPIPE";
    EXPECT_EQ(diagnostics.takeBodies().at(0), "got EPIPE, dest app is dead");
    EXPECT_EQ(oalVosMsg_send(-1, &kMessage.header), VOS_RET_ERROR);
    EXPECT_EQ(oalVosMsg_send(pair.mine(), nullptr), VOS_RET_BAD_ARG);
}

}  // namespace
