// By how much a wait with a time-out ends late while signals come or others talk. One that ends early is an error.
#include <benchmark/benchmark.h>
#include <signal.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <thread>

#include "internal/message_header.h"
#include "vos/mem.h"
#include "vos/msg.h"
#include "vos/msg/handle.h"

namespace {

constexpr VosEntityId kOwn = 50;
constexpr VosEntityId kPeer = 60;

int64_t nowNs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

void sleepNs(long ns) {
    const timespec pause{0, ns};
    nanosleep(&pause, nullptr);
}

/** A handle whose other end does something at intervals, in a thread of its own. */
class Conversation {
  public:
    template <typename Disturb>
    Conversation(long everyNs, Disturb disturb) {
        socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_);
        handle_.eid = kOwn;
        handle_.commFd = ends_[0];
        thread_ = std::thread{[this, everyNs, disturb, waiting = pthread_self()] {
            while (everyNs != 0 && !over_) {
                sleepNs(everyNs);
                disturb(ends_[1], waiting);
            }
        }};
    }
    ~Conversation() {
        over_ = true;
        thread_.join();
        close(ends_[1]);
        VosMsgHeader *left = nullptr;
        while (vosMsg_receiveWithTimeout(&handle_, &left, 0) == VOS_RET_OK) {
            VOS_FREE(left);
        }
        close(ends_[0]);
    }
    VosMsgHandle *handle() { return &handle_; }

  private:
    int ends_[2];
    VosMsgHandle handle_{};
    std::atomic<bool> over_{false};
    std::thread thread_;
};

void ask(VosMsgHandle *handle, uint32_t timeoutMs) {
    const VosMsgHeader request = vos::messageHeader(1, kOwn, kPeer, VOS_MSG_FLAG_REQUEST);
    vosMsg_sendAndGetReplyWithTimeout(handle, &request, timeoutMs);
}

void wait(VosMsgHandle *handle, uint32_t timeoutMs) {
    VosMsgHeader *msg = nullptr;
    vosMsg_receiveWithTimeout(handle, &msg, timeoutMs);
}

void talk(int fd, pthread_t) {
    const VosMsgHeader event = vos::messageHeader(7, kPeer, kOwn, VOS_MSG_FLAG_EVENT);
    send(fd, &event, sizeof event, MSG_DONTWAIT | MSG_NOSIGNAL);
}

void interrupt(int, pthread_t waiting) {
    pthread_kill(waiting, SIGUSR1);
}

template <typename Call, typename Disturb>
void late(benchmark::State &state, Call call, Disturb disturb, long everyNs) {
    const auto timeoutMs = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        Conversation conversation{everyNs, disturb};
        const int64_t start = nowNs();
        call(conversation.handle(), timeoutMs);
        const int64_t lateNs = nowNs() - start - int64_t{timeoutMs} * 1'000'000;
        if (lateNs < 0) {
            state.SkipWithError("ends early");
            break;
        }
        state.SetIterationTime(static_cast<double>(lateNs) * 1e-9);
    }
}

template <typename Call, typename Disturb>
void row(const char *name, Call call, Disturb disturb, long everyNs, int64_t timeoutMs) {
    benchmark::RegisterBenchmark(name, [=](benchmark::State &state) { late(state, call, disturb, everyNs); })
        ->Arg(timeoutMs)
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
}

}  // namespace

int main(int argc, char **argv) {
    struct sigaction nothing {};
    nothing.sa_handler = [](int) {};
    sigaction(SIGUSR1, &nothing, nullptr);
    row("late, request of 1 s, nothing else|vos", ask, talk, 0, 1000);
    row("late, request of 1 s, 1000 events a second|vos", ask, talk, 1'000'000, 1000);
    row("late, request of 1 s, 5000 events a second|vos", ask, talk, 140'000, 1000);
    row("late, wait of 1 s, a signal every 100 us|vos", wait, interrupt, 100'000, 1000);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
