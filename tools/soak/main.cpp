// Pairs of processes that talk through a vos-hubd for a time: honest ones beside signalled, stopped and killed ones.
// Every message carries its number and a checksum. It ends with 0 when honest pairs lost nothing and every other loss
// was told to its sender.
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "vos/codec.h"
#include "vos/mem.h"
#include "vos/msg.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr uint32_t kEvent = 0x10007001;
constexpr uint32_t kCount = 0x10007002;  // answered with how many events of a session have come
constexpr uint32_t kEcho = 0x10007003;   // answered with its own payload
constexpr uint32_t kBatch = 40;
constexpr uint32_t kLargest = 260'000;
constexpr milliseconds kSettle{10'000};  // for what is still on its way

enum class Kind { kHonest, kSignalled, kStopped, kKilled };
constexpr std::array kPairs{Kind::kHonest, Kind::kHonest, Kind::kSignalled, Kind::kStopped, Kind::kKilled};

using Counter = std::atomic<uint64_t>;

// What all processes share; zeroed.
struct Pair {
    std::atomic<uint32_t> receiver;  // entity id
    Counter sent, arrived, told, silent, wrong;
};
struct Shared {
    std::atomic<bool> isOver;
    std::atomic<uint32_t> names;
    Counter disturbances;
    std::array<Pair, kPairs.size()> pairs;
};
Shared *g_shared;

struct Body {
    uint32_t session;
    uint32_t number;
    uint32_t crc;
};

// ---- messages ----

class Message {
  public:
    Message(uint32_t type, VosEntityId src, VosEntityId dst, uint16_t flags, uint32_t word, size_t payload)
        : bytes_(sizeof(VosMsgHeader) + payload) {
        header()->type = type;
        header()->src = src;
        header()->dst = dst;
        header()->flags = flags;
        header()->wordData = word;
        header()->dataLength = static_cast<uint32_t>(payload);
    }
    VosMsgHeader *header() { return reinterpret_cast<VosMsgHeader *>(bytes_.data()); }
    uint8_t *payload() { return bytes_.data() + sizeof(VosMsgHeader); }

  private:
    std::vector<uint8_t> bytes_;
};

uint32_t crcBehindBody(const uint8_t *payload, size_t size) {
    return utilCrc_getCrc32(payload + sizeof(Body), static_cast<uint32_t>(size - sizeof(Body)), 0xFFFFFFFF);
}

void fill(uint8_t *payload, size_t size, Body body, std::mt19937 &random) {
    // Bytes that would pass for a header wherever somebody loses the place.
    const VosMsgHeader decoy{kEvent, EID_HUBD, 1, VOS_MSG_FLAG_EVENT, 0, nullptr, static_cast<uint32_t>(random()), 0};
    for (size_t at = sizeof body; at < size; at += sizeof decoy) {
        memcpy(payload + at, &decoy, std::min(sizeof decoy, size - at));
    }
    body.crc = crcBehindBody(payload, size);
    memcpy(payload, &body, sizeof body);
}

bool read(const VosMsgHeader *msg, Body *body) {
    const auto *payload = reinterpret_cast<const uint8_t *>(msg + 1);
    if (msg->dataLength < sizeof *body) {
        return false;
    }
    memcpy(body, payload, sizeof *body);
    return body->crc == crcBehindBody(payload, msg->dataLength);
}

VosMsgHandle *open() {
    for (;;) {
        VosMsgHandle *handle = nullptr;
        const std::string name = "soak" + std::to_string(++g_shared->names);
        if (vosMsg_initByName(name.c_str(), &handle) == VOS_RET_OK) {
            return handle;
        }
        std::this_thread::sleep_for(milliseconds{10});
    }
}

// ---- receivers ----

void answer(VosMsgHandle *handle, VosMsgHeader *msg, const void *payload, uint32_t size) {
    Message reply{msg->type, msg->dst, msg->src, VOS_MSG_FLAG_RESPONSE | VOS_MSG_FLAG_SRPC, msg->wordData, size};
    memcpy(reply.payload(), payload, size);
    vosMsg_send(handle, reply.header());
}

void receiveAll(Pair &pair) {
    VosMsgHandle *handle = open();
    int32_t fd = -1;
    vosMsg_getEventHandle(handle, &fd);
    pair.receiver = vosMsg_getHandleEid(handle);
    std::map<uint32_t, uint32_t> sessions;
    constexpr uint32_t kTimeouts[] = {0, 1, 10};
    for (size_t round = 0;; round++) {
        pollfd waiting{.fd = fd, .events = POLLIN, .revents = 0};
        poll(&waiting, 1, -1);
        VosMsgHeader *msg = nullptr;
        const VosRet ret = vosMsg_receiveWithTimeout(handle, &msg, kTimeouts[round % std::size(kTimeouts)]);
        if (ret == VOS_RET_TIMEOUT) {
            continue;
        }
        if (ret != VOS_RET_OK) {
            _exit(1);
        }
        Body body{};
        if (msg->type == kCount) {
            answer(handle, msg, &sessions[msg->wordData], sizeof(uint32_t));
        } else if (!read(msg, &body) || msg->src == EID_HUBD) {
            pair.wrong++;
        } else if (msg->type == kEcho) {
            answer(handle, msg, msg + 1, msg->dataLength);
        } else if (body.number != sessions[body.session]++) {
            pair.wrong++;
        } else {
            pair.arrived++;
        }
        VOS_FREE(msg);
    }
}

// ---- senders ----

class Sender {
  public:
    explicit Sender(Pair &pair) : pair_{pair} {
        reopen();
        session_ = self();
    }
    void sendEvents() {
        while (!g_shared->isOver) {
            sendBatch();
        }
    }
    void askForEchoes() {
        for (uint32_t number = 1; !g_shared->isOver; number++) {
            const size_t size = sizeOfNext();
            Message request{kEcho, self(), pair_.receiver, VOS_MSG_FLAG_REQUEST | VOS_MSG_FLAG_SRPC, number, size};
            fill(request.payload(), size, {session_, number, 0}, random_);
            VosMsgHeader *reply = nullptr;
            const VosRet ret = vosMsg_sendAndGetReplyBufWithTimeout(handle_, request.header(), &reply, 300);
            pair_.sent++;
            if (ret == VOS_RET_OK && reply != nullptr && reply->dataLength != 0) {
                const bool isSame = reply->dataLength == size && memcmp(reply + 1, request.payload(), size) == 0;
                (isSame ? pair_.arrived : pair_.wrong)++;
            } else {
                pair_.told++;
            }
            VOS_FREE(reply);
            if (ret == VOS_RET_ERROR || ret == VOS_RET_PEER_GONE) {
                reopen();
            }
        }
    }

  private:
    VosEntityId self() const { return vosMsg_getHandleEid(handle_); }
    void reopen() {
        vosMsg_cleanup(&handle_);
        handle_ = open();
    }
    size_t sizeOfNext() {
        const uint32_t all = random_() % 100 == 0 ? kLargest : 3'000;
        return sizeof(Body) + random_() % all;
    }
    void sendBatch() {
        for (uint32_t i = 0; i < kBatch; i++) {
            const size_t size = sizeOfNext();
            Message event{kEvent, self(), pair_.receiver, VOS_MSG_FLAG_EVENT, 0, size};
            fill(event.payload(), size, {session_, whole_, 0}, random_);
            pair_.sent++;
            if (vosMsg_send(handle_, event.header()) != VOS_RET_OK) {
                pair_.told++;
                beginAnew();
                return;
            }
            whole_++;
        }
        compare();
    }
    // After a send that failed nothing more may go out on that connection.
    void beginAnew() {
        Message probe{kEvent, self(), EID_HUBD, VOS_MSG_FLAG_EVENT, 0, 0};
        if (vosMsg_send(handle_, probe.header()) != VOS_RET_PEER_GONE) {
            pair_.wrong++;
        }
        reopen();
        compare();
        session_ = self();
        whole_ = 0;
    }
    // What was sent whole must have arrived.
    void compare() {
        const auto patience = Clock::now() + kSettle;
        uint32_t arrived = 0;
        do {
            Message question{kCount, self(), pair_.receiver, VOS_MSG_FLAG_REQUEST | VOS_MSG_FLAG_SRPC, session_, 0};
            VosMsgHeader *reply = nullptr;
            const VosRet ret = vosMsg_sendAndGetReplyBufWithTimeout(handle_, question.header(), &reply, 2000);
            if (ret == VOS_RET_OK && reply != nullptr && reply->dataLength == sizeof arrived) {
                memcpy(&arrived, reply + 1, sizeof arrived);
            } else if (ret == VOS_RET_PEER_GONE || ret == VOS_RET_ERROR) {
                reopen();
            }
            VOS_FREE(reply);
        } while (arrived < whole_ && Clock::now() < patience);
        pair_.silent += arrived < whole_ ? whole_ - arrived : 0;
    }

    Pair &pair_;
    VosMsgHandle *handle_ = nullptr;
    std::mt19937 random_{static_cast<uint32_t>(getpid())};
    uint32_t session_;
    uint32_t whole_ = 0;
};

void tickEvery(suseconds_t us) {
    struct sigaction action {};
    action.sa_handler = [](int) { g_shared->disturbances++; };
    action.sa_flags = SA_RESTART;
    sigaction(SIGALRM, &action, nullptr);
    const itimerval every{.it_interval = {0, us}, .it_value = {0, us}};
    setitimer(ITIMER_REAL, &every, nullptr);
}

// ---- the whole ----

pid_t start(const std::function<void()> &body) {
    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent) {
            _exit(0);
        }
        body();
        _exit(0);
    }
    return pid;
}

struct Processes {
    pid_t receiver, sender;
};

pid_t startReceiver(size_t index) {
    Pair &pair = g_shared->pairs[index];
    pair.receiver = 0;
    const pid_t pid = start([&] {
        if (kPairs[index] == Kind::kSignalled) {
            tickEvery(1000);
        }
        receiveAll(pair);
    });
    while (pair.receiver == 0) {
        std::this_thread::sleep_for(milliseconds{1});
    }
    return pid;
}

pid_t startSender(size_t index) {
    return start([index] {
        Sender sender{g_shared->pairs[index]};
        if (kPairs[index] == Kind::kSignalled) {
            tickEvery(1000);
        }
        kPairs[index] == Kind::kKilled ? sender.askForEchoes() : sender.sendEvents();
    });
}

void end(pid_t pid) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

// Stops, continues, kills and replaces for the given time.
void disturb(std::array<Processes, kPairs.size()> &all, Clock::time_point until) {
    std::mt19937 random{1};
    while (Clock::now() < until) {
        std::this_thread::sleep_for(milliseconds{random() % 50});
        for (size_t i = 0; i < kPairs.size(); i++) {
            pid_t &victim = random() % 2 == 0 ? all[i].receiver : all[i].sender;
            if (kPairs[i] == Kind::kStopped) {
                g_shared->disturbances++;
                kill(victim, SIGSTOP);
                std::this_thread::sleep_for(milliseconds{random() % 20});
                kill(victim, SIGCONT);
            } else if (kPairs[i] == Kind::kKilled && random() % 10 == 0) {
                g_shared->disturbances++;
                end(victim);
                victim = &victim == &all[i].receiver ? startReceiver(i) : startSender(i);
            }
        }
    }
}

bool report(int seconds) {
    bool isGood = true;
    printf("%d s, %llu signals, stops and kills;", seconds,
           static_cast<unsigned long long>(g_shared->disturbances.load()));
    for (size_t i = 0; i < kPairs.size(); i++) {
        constexpr const char *kNames[] = {"honest", "signalled", "stopped", "killed"};
        const Pair &pair = g_shared->pairs[i];
        const auto number = [](const Counter &counter) { return static_cast<unsigned long long>(counter.load()); };
        printf(" %s: sent %llu, arrived %llu, told %llu, silent %llu, wrong %llu;", kNames[static_cast<int>(kPairs[i])],
               number(pair.sent), number(pair.arrived), number(pair.told), number(pair.silent), number(pair.wrong));
        const bool isWhole = kPairs[i] != Kind::kHonest || (pair.told == 0 && pair.sent == pair.arrived);
        isGood = isGood && isWhole && pair.sent != 0 && pair.silent == 0 && pair.wrong == 0;
    }
    printf(" %s\n", isGood ? "nothing lost unseen" : "FAILED");
    return isGood;
}

}  // namespace

int main(int argc, char **argv) {
    const int seconds = argc == 2 ? atoi(argv[1]) : 0;
    if (seconds <= 0) {
        fprintf(stderr, "usage: vos-soak SECONDS, beside a running vos-hubd\n");
        return 2;
    }
    g_shared =
        static_cast<Shared *>(mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    std::array<Processes, kPairs.size()> all;
    for (size_t i = 0; i < all.size(); i++) {
        all[i].receiver = startReceiver(i);
        all[i].sender = startSender(i);
    }
    disturb(all, Clock::now() + std::chrono::seconds{seconds});
    g_shared->isOver = true;
    for (const Processes &pair : all) {
        waitpid(pair.sender, nullptr, 0);
        end(pair.receiver);
    }
    return report(seconds) ? 0 : 1;
}
