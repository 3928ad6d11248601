// The connection to the hub: handshake, whole messages in any number of pieces, ends, signals and time-outs.
#include <fcntl.h>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <optional>
#include <thread>

#include "support/effort.h"
#include "support/hooks.h"
#include "support/hub_process.h"
#include "support/hub_test.h"

using vostest::HubScript;
using vostest::message;
using vostest::WireMessage;

namespace {

struct Received {
    VosRet ret;
    uint32_t timeLeft;
    std::optional<std::string> bytes;
};

Received taken(VosRet ret, VosMsgHeader *msg, uint32_t timeLeft = 0) {
    Received result{ret, timeLeft, std::nullopt};
    if (msg != nullptr) {
        result.bytes = std::string{reinterpret_cast<char *>(msg), sizeof *msg + msg->dataLength};
        VOS_FREE(msg);
    }
    return result;
}

Received receive(int fd, std::optional<uint32_t> timeoutMs = vostest::patienceMs()) {
    auto *msg = reinterpret_cast<VosMsgHeader *>(1);
    uint32_t left = timeoutMs.value_or(0);
    const VosRet ret = oalVosMsg_receive(fd, &msg, timeoutMs ? &left : nullptr);
    return taken(ret, msg, left);
}

const WireMessage kMessage = message(0x10001234, 7, 8, VOS_MSG_FLAG_EVENT, 99, "hello");
const std::string kBytes = kMessage.bytes();

TEST(Launch, AnnouncesIdOrNameAndTakesTheAnsweredId) {
    const std::string exe = std::filesystem::read_symlink("/proc/self/exe");
    const vostest::TempDir dir;
    std::filesystem::create_directory(dir / "work");
    vostest::writeText(dir / "Info.plugin", "Version: 1\nName : com.example.led \r\n");
    const auto back = std::filesystem::current_path();
    std::filesystem::current_path(dir / "work");
    const std::string longName(70, 'n');
    const std::tuple<VosEntityId, const char *, std::string> kRows[] = {
        {300, "unused", ""},
        {0, "snmpd", "snmpd"},
        {0, longName.c_str(), longName.substr(0, 63)},
        {0, nullptr, "com.example.led"},
    };
    for (const auto &[eid, name, announced] : kRows) {
        SCOPED_TRACE(announced);
        HubScript hub;
        VosMsgHandle *handle = nullptr;
        ASSERT_EQ(hub.launch(4711, [&, id = eid, called = name] { return oalVosMsg_init(id, called, &handle); }),
                  VOS_RET_OK);
        EXPECT_EQ(hub.announcement().bytes(), message(0x10000251, eid, 20, VOS_MSG_FLAG_EVENT,
                                                      static_cast<uint32_t>(getpid()), announced + '\0' + exe + '\0')
                                                  .bytes());
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
    const vostest::SameDescriptors descriptors;
    EXPECT_EQ(vosMsg_init(9, &handle), VOS_RET_ERROR);
    HubScript hub;
    std::thread quitter{[&] {
        hub.acceptOnly();
        hub.hangUp();
    }};
    EXPECT_EQ(vosMsg_init(9, &handle), VOS_RET_ERROR);
    quitter.join();
    EXPECT_EQ(handle, untouched);
}

// Ticks every millisecond; in the fifth tick the handler writes what it was given.
class Ticker {
  public:
    explicit Ticker(int flags, int fd = -1, std::string late = {}) : fd_{fd}, late_{std::move(late)} {
        current = this;
        struct sigaction action {};
        action.sa_handler = [](int) { current->tick(); };
        action.sa_flags = flags;
        sigaction(SIGALRM, &action, nullptr);
        setTimer(1000);
    }
    ~Ticker() { setTimer(0); }
    void await(int more) const {
        for (const int until = ticks_ + more; ticks_ < until;) {
            std::this_thread::yield();
        }
    }

  private:
    static void setTimer(suseconds_t us) {
        const itimerval every{.it_interval = {0, us}, .it_value = {0, us}};
        setitimer(ITIMER_REAL, &every, nullptr);
    }
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

/** A thread that signals do not reach. */
std::thread unsignalled(std::function<void()> body) {
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    std::thread thread{std::move(body)};
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

const VosMsgHeader *asMessage(const std::string &bytes) {
    return reinterpret_cast<const VosMsgHeader *>(bytes.data());
}

Received next(VosMsgHandle *handle, std::optional<uint32_t> timeoutMs = vostest::patienceMs()) {
    auto *msg = reinterpret_cast<VosMsgHeader *>(1);
    const VosRet ret = timeoutMs ? vosMsg_receiveWithTimeout(handle, &msg, *timeoutMs) : vosMsg_receive(handle, &msg);
    return taken(ret, msg);
}

// A handle on a hub whose side the test drives.
class Stream : public vostest::HubTest {
  protected:
    Stream() { vosMsg_getEventHandle(handle, &fd); }

    VosRet send(const std::string &bytes) { return vosMsg_send(handle, asMessage(bytes)); }
    VosRet ask(uint32_t timeoutMs, uint32_t type = kMessage.header.type, size_t payload = 0) {
        const std::string bytes = message(type, 50, 60, VOS_MSG_FLAG_REQUEST, 0, std::string(payload, 'q')).bytes();
        return vosMsg_sendAndGetReplyWithTimeout(handle, asMessage(bytes), timeoutMs);
    }
    void open() {
        vosMsg_cleanup(&handle);
        handle = hub.open(50);
        vosMsg_getEventHandle(handle, &fd);
    }
    void expectNothingGetsThrough() {
        EXPECT_EQ(send(kBytes), VOS_RET_PEER_GONE) << "it would be read as the rest of the last one";
        while (hub.read()) {
        }
        EXPECT_TRUE(hub.hasData()) << "the hub sees the end";
    }
    /** Stops a child that has fallen asleep and lets it go on. */
    static void interrupt(pid_t child) {
        for (std::string state; !state.starts_with("S");) {
            state = vostest::readText("/proc/" + std::to_string(child) + "/stat");
            state = state.substr(state.rfind(')') + 2);
        }
        int status = -1;
        kill(child, SIGSTOP);
        EXPECT_EQ(waitpid(child, &status, WUNTRACED), child);
        kill(child, SIGCONT);
        EXPECT_EQ(waitpid(child, &status, WCONTINUED), child);
    }

    const std::string kBig = message(7, 8, 50, 1, 9, std::string(1 << 20, 'x')).bytes();
    const std::string kOther = message(7, 8, 50, 1, 3, "other").bytes();
    int32_t fd = -1;
};

TEST_F(Stream, KeepsItsPlaceThroughTimeOuts) {
    for (size_t split = 1; split < kBytes.size(); split++) {
        SCOPED_TRACE(split);
        hub.sendBytes(kBytes.substr(0, split));
        EXPECT_EQ(next(handle, split % 2).ret, VOS_RET_TIMEOUT);
        hub.sendBytes(kBytes.substr(split) + kOther);
        EXPECT_EQ(next(handle).bytes, kBytes);
        EXPECT_EQ(next(handle, std::nullopt).bytes, kOther);
    }
    hub.sendBytes(kOther.substr(0, 33));
    EXPECT_EQ(ask(1), VOS_RET_TIMEOUT);
    hub.sendBytes(kOther.substr(33) + kBytes);
    EXPECT_EQ(ask(vostest::patienceMs()), kMessage.header.wordData);
    EXPECT_EQ(next(handle).bytes, kOther);
}

TEST_F(Stream, TellsAPeerGoneInTheHeaderFromABrokenPayload) {
    for (size_t length = 0; length < kBytes.size(); length++) {
        SCOPED_TRACE(length);
        hub.sendBytes(kBytes.substr(0, length));
        if (length % 2 == 0) {
            EXPECT_EQ(next(handle, 0).ret, VOS_RET_TIMEOUT);
        }
        hub.hangUp();
        EXPECT_EQ(next(handle).ret, length < sizeof(VosMsgHeader) ? VOS_RET_PEER_GONE : VOS_RET_ERROR);
        EXPECT_EQ(next(handle).ret, VOS_RET_PEER_GONE);
        open();
    }
    EXPECT_EQ(send(kBytes), VOS_RET_OK);
    hub.hangUp();  // with unread data: the connection is reset, which is a bad read
    EXPECT_EQ(next(handle).ret, VOS_RET_ERROR);
    open();
    hub.sendBytes(kBytes.substr(0, 34));
    EXPECT_EQ(next(handle, 0).ret, VOS_RET_TIMEOUT) << "what has come is freed with the handle";
}

TEST(StreamThroughAHub, LosesNothingInAPollLoop) {
    const vostest::HubProcess process;
    VosMsgHandle *sender = nullptr, *receiver = nullptr;
    ASSERT_EQ(vosMsg_initByName("sender", &sender), VOS_RET_OK);
    ASSERT_EQ(vosMsg_initByName("receiver", &receiver), VOS_RET_OK);
    pollfd waiting{.fd = -1, .events = POLLIN, .revents = 0};
    vosMsg_getEventHandle(receiver, &waiting.fd);
    for (const size_t size : {size_t{1000}, size_t{260'000}}) {
        for (const uint32_t timeoutMs : {0U, 1U, 10U}) {
            SCOPED_TRACE(testing::Message() << timeoutMs << " ms, " << size << " bytes");
            const uint32_t count = size == 1000 ? 50'000 : 300;
            const auto numbered = [&](uint32_t word) {
                return message(7, vosMsg_getHandleEid(sender), vosMsg_getHandleEid(receiver), 1, word,
                               std::string(size, static_cast<char>(word)))
                    .bytes();
            };
            std::thread peer{[&] {
                for (uint32_t word = 0; word < count; word++) {
                    EXPECT_EQ(vosMsg_send(sender, asMessage(numbered(word))), VOS_RET_OK);
                }
            }};
            uint32_t word = 0;
            while (word < count && poll(&waiting, 1, static_cast<int>(vostest::patienceMs())) == 1) {
                const Received got = next(receiver, timeoutMs);
                if (got.ret != VOS_RET_TIMEOUT) {
                    EXPECT_TRUE(got.bytes == numbered(word++));
                }
            }
            peer.join();
            EXPECT_EQ(word, count);
        }
    }
    vosMsg_cleanup(&sender);
    vosMsg_cleanup(&receiver);
}

TEST_F(Stream, SkipsAMessageThatItHadNoMemoryForAsAWhole) {
    static thread_local int left;  // allocations until one fails
    static const auto library = vostest::hookLibrary(
        [](vostest::Resource resource) { return resource == vostest::Resource::kMemory && --left == 0; });
    if (!library.found) {
        GTEST_SKIP() << "the library is linked statically";
    }
    std::string decoys;
    for (int i = 0; i < 500; i++) {
        decoys += message(kMessage.header.type, 20, 50, 1, 666).bytes();
    }
    const std::string refused = message(1, 2, 50, 1, 0, decoys).bytes();
    const auto refuse = [&](size_t split) {
        hub.sendBytes(refused.substr(0, split));
        const vostest::ExpectedLeak header;
        left = 2;
        EXPECT_EQ(next(handle, 0).ret, VOS_RET_NO_RESOURCE);
    };
    for (const size_t split : {size_t{32}, size_t{33}, refused.size() - 1, refused.size()}) {
        SCOPED_TRACE(split);
        refuse(split);
        EXPECT_EQ(next(handle, 0).ret, VOS_RET_TIMEOUT);
        hub.sendBytes(refused.substr(split) + kBytes);
        EXPECT_EQ(next(handle).bytes, kBytes);
    }
    refuse(100);
    {
        const Ticker ticker{0};
        EXPECT_EQ(next(handle, std::nullopt).ret, VOS_RET_ERROR) << "a daemon notices SIGTERM here too";
    }
    hub.hangUp();
    EXPECT_EQ(next(handle).ret, VOS_RET_PEER_GONE);
}

TEST_F(Stream, SendsTheRestOfWhatASignalCut) {
    const Ticker ticker{SA_RESTART};
    std::thread peer = unsignalled([&] {
        for (int i = 0; i < 3; i++) {
            ticker.await(5);
            EXPECT_TRUE(sent() == kBig);
        }
    });
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(send(kBig), VOS_RET_OK);
    }
    peer.join();
    EXPECT_EQ(send(kBig), VOS_RET_ERROR) << "nobody reads for a second";
    expectNothingGetsThrough();
}

TEST_F(Stream, AStopCutsNeitherAWaitNorAMessage) {
    const pid_t child = fork();
    if (child == 0) {
        const bool isWhole = next(handle, std::nullopt).bytes == kBytes && send(kBig) == VOS_RET_OK;
        _exit(isWhole && send(kBytes) == VOS_RET_OK ? 0 : 1);
    }
    interrupt(child);
    hub.sendBytes(kBytes);
    for (int queued = 0; queued < 100'000;) {
        ioctl(fd, SIOCOUTQ, &queued);
    }
    interrupt(child);
    EXPECT_TRUE(sent() == kBig);
    EXPECT_EQ(sent(), kBytes);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(Stream, EndsANonBlockingSendThatWentOutInPart) {
    fcntl(fd, F_SETFL, O_NONBLOCK);
    size_t count = 0;
    while (send(kBytes) == VOS_RET_OK) {
        count++;
    }
    vostest::Diagnostics diagnostics;
    EXPECT_EQ(send(kBytes), VOS_RET_WOULD_BLOCK) << "nothing has gone, the stream is whole";
    EXPECT_EQ(diagnostics.takeBodies().at(0), "write failed, errno=11; send msg from 7 to 8");
    for (; count > 0; count--) {
        EXPECT_EQ(sent(), kBytes);
    }
    std::thread peer{[&] { EXPECT_FALSE(hub.read()); }};
    EXPECT_EQ(send(kBig), VOS_RET_ERROR) << "although the hub makes room";
    peer.join();
    EXPECT_TRUE(diagnostics.takeBodies().at(0).ends_with("expected 1048608"));
    expectNothingGetsThrough();
    EXPECT_EQ(diagnostics.takeBodies().at(0), "got EPIPE, dest app is dead");
}

TEST_F(Stream, ALimitedRequestWaitsForRoomAndNoLonger) {
    for (const int flags : {0, O_NONBLOCK}) {
        SCOPED_TRACE(flags);
        fcntl(fd, F_SETFL, flags);
        hub.sendBytes(kOther);  // stays queued, so every wait that ends has a marker to send
        for (int queued = 0, before = -1; queued != before;) {  // until no more goes in
            before = queued;
            EXPECT_EQ(ask(1, 0x10005000, 1000), VOS_RET_TIMEOUT);
            ioctl(fd, SIOCOUTQ, &queued);
        }
        const Ticker ticker{0};
        EXPECT_EQ(ask(20), VOS_RET_TIMEOUT);
        std::thread peer = unsignalled([&] {
            ticker.await(5);
            for (uint32_t type = 0; type != kMessage.header.type;) {
                const WireMessage got = hub.read().value_or(kMessage);
                type = got.header.type;
                EXPECT_EQ(got.payload.size(), type == 0x10005000 ? 1000U : 0U);
            }
            hub.sendBytes(kBytes);
        });
        EXPECT_EQ(ask(vostest::patienceMs()), kMessage.header.wordData) << "the hub went on";
        peer.join();
        EXPECT_EQ(next(handle).bytes, kOther);
    }
}

TEST_F(Stream, NothingEndsALimitedWaitEarly) {
    using Clock = std::chrono::steady_clock;
    const Ticker ticker{SA_RESTART};
    const auto start = Clock::now();
    EXPECT_EQ(next(handle, 100).ret, VOS_RET_TIMEOUT);
    EXPECT_EQ(ask(100), VOS_RET_TIMEOUT);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds{200});
}

TEST_F(Stream, OnlyHandlersWithoutRestartEndAnUnlimitedWait) {
    for (const int flags : {0, O_NONBLOCK}) {
        fcntl(fd, F_SETFL, flags);
        const Ticker ticker{0};
        EXPECT_EQ(next(handle, std::nullopt).ret, VOS_RET_ERROR);
    }
    fcntl(fd, F_SETFL, 0);
    for (const size_t split : {size_t{0}, size_t{1}, size_t{31}, size_t{32}, size_t{36}}) {
        SCOPED_TRACE(split);
        hub.sendBytes(kBytes.substr(0, split));
        const Ticker ticker{split == 0 ? SA_RESTART : 0, hub.fd(), kBytes.substr(split)};
        EXPECT_EQ(next(handle, std::nullopt).bytes, kBytes) << "a message that has begun is read whole";
    }
    const WireMessage request = message(kMessage.header.type, 50, 60, VOS_MSG_FLAG_REQUEST);
    for (const int flags : {0, O_NONBLOCK}) {
        fcntl(fd, F_SETFL, flags);
        const Ticker ticker{0, hub.fd(), kBytes};
        EXPECT_EQ(vosMsg_sendAndGetReply(handle, &request.header), kMessage.header.wordData) << "no wait for a reply";
    }
}

TEST_F(Stream, WritesTheTimeLeftBack) {
    const Received none = receive(fd, 20);
    EXPECT_EQ(none.ret, VOS_RET_TIMEOUT);
    EXPECT_EQ(none.timeLeft, 0U);
    for (const uint32_t timeout : {0U, 5000U, 0xFFFFFFFFU}) {
        hub.sendBytes(kBytes);
        const Received got = receive(fd, timeout);
        EXPECT_EQ(got.bytes, kBytes);
        EXPECT_EQ(got.timeLeft, timeout) << "nothing had to be waited for";
    }
    std::thread peer{[&] { hub.sendBytes(kBytes); }};
    const Received got = receive(fd, 0xFFFFFFFF);
    peer.join();
    EXPECT_EQ(got.bytes, kBytes);
    EXPECT_GT(got.timeLeft, 0xFFFF0000U);
}

TEST_F(Stream, RefusesLengthsThatDoNotFit) {
    for (const uint32_t length : {0xFFFFFFFFU, 0xFFFFFFE0U, 0xFFFFFFDFU, 0xFFFFFFCDU}) {
        SCOPED_TRACE(length);
        open();
        WireMessage hostile = message(1, 2, 3);
        hostile.header.dataLength = length;
        hub.sendBytes(hostile.bytes());
        const uint32_t before = vostest::heapBytes();
        const vostest::ExpectedLeak leak;
        EXPECT_EQ(receive(fd).ret, VOS_RET_NO_RESOURCE);
        EXPECT_EQ(vostest::heapBytes() - before, sizeof(VosMsgHeader));
    }
}

TEST_F(Stream, TouchesOnlyTheMemoryOfWhatArrived) {
    WireMessage promising = message(1, 2, 3);
    promising.header.dataLength = 1 << 28;
    hub.sendBytes(promising.bytes() + "little");
    rusage before, after;
    getrusage(RUSAGE_SELF, &before);
    EXPECT_EQ(receive(fd, 0).ret, VOS_RET_TIMEOUT);
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 1 << 16) << "KiB";
}

TEST_F(Stream, WorksOnHighDescriptorsAndOnPipes) {
    const rlimit limit{4096, 4096};
    setrlimit(RLIMIT_NOFILE, &limit);
    const int high = fcntl(fd, F_DUPFD_CLOEXEC, 1500);
    EXPECT_EQ(receive(high, 10).ret, VOS_RET_TIMEOUT);
    std::thread late{[&] { hub.sendBytes(kBytes); }};
    EXPECT_EQ(receive(high).bytes, kBytes);
    late.join();
    close(high);

    int pipeFds[2];
    ASSERT_EQ(pipe(pipeFds), 0);
    for (const auto timeout : {std::optional{vostest::patienceMs()}, std::optional<uint32_t>{}}) {
        EXPECT_EQ(receive(pipeFds[0], 0).ret, VOS_RET_TIMEOUT);
        EXPECT_EQ(oalVosMsg_send(pipeFds[1], asMessage(kBytes)), VOS_RET_OK);
        EXPECT_EQ(receive(pipeFds[0], timeout).bytes, kBytes);
    }
    close(pipeFds[1]);
    EXPECT_EQ(receive(pipeFds[0], std::nullopt).ret, VOS_RET_PEER_GONE);
    close(pipeFds[0]);
}

TEST_F(Stream, BareDescriptorsKeepNothing) {
    ASSERT_EQ(fcntl(fd, F_SETFL, O_NONBLOCK), 0);
    const std::string big = message(1, 2, 3, 0, 0, std::string(1 << 20, 'x')).bytes();
    EXPECT_EQ(oalVosMsg_send(fd, asMessage(big)), VOS_RET_ERROR) << "only a part fits";
    VosRet ret = VOS_RET_OK;
    while (ret == VOS_RET_OK) {
        ret = oalVosMsg_send(fd, asMessage(kBytes));
    }
    EXPECT_EQ(ret, VOS_RET_WOULD_BLOCK);
    hub.sendBytes(kBytes.substr(0, 33));
    EXPECT_EQ(receive(fd, 0).ret, VOS_RET_TIMEOUT);
    hub.sendBytes(kBytes);
    EXPECT_EQ(receive(fd).bytes, kBytes);

    for (const int bad : {-1, 3999}) {
        EXPECT_EQ(receive(bad, 10).ret, VOS_RET_ERROR);
        EXPECT_EQ(oalVosMsg_send(bad, &kMessage.header), VOS_RET_ERROR);
    }
}

}  // namespace
