// What vos.hpp adds to the C calls: a request and its reply, an event from the socket to its handler, and the
// allocations of both. In the place of the hub a child answers with as little as it can, the same for both.
//   bench_hpp --allocations=FILE counts these, for bench/report.py
#include <benchmark/benchmark.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vos/vos.hpp"

static uint64_t allocations;
extern "C" void *__libc_malloc(size_t size);
/** Stands before libc's; operator new and the memory manager end here. */
extern "C" void *malloc(size_t size) {
    allocations++;
    return __libc_malloc(size);
}

namespace {

constexpr uint32_t kType = 0x10005001;
constexpr int kEventsAtOnce = 64;

/** Both sides on one core: where the scheduler puts a woken process would decide the figures otherwise. */
void stayOnOneCore() {
    cpu_set_t set;
    sched_getaffinity(0, sizeof set, &set);
    int last = CPU_SETSIZE - 1;
    while (last > 0 && !CPU_ISSET(last, &set)) {
        last--;
    }
    CPU_ZERO(&set);
    CPU_SET(last, &set);
    sched_setaffinity(0, sizeof set, &set);
}

/** Answers each message: a request by itself as a reply, an event by itself, a heartbeat not at all. */
void answer(int fd) {
    VosMsgHeader messages[kEventsAtOnce];
    for (ssize_t got; (got = read(fd, messages, sizeof messages)) > 0;) {
        for (size_t i = 0; i < static_cast<size_t>(got) / sizeof messages[0]; i++) {
            std::swap(messages[i].src, messages[i].dst);
            if ((messages[i].flags & VOS_MSG_FLAG_REQUEST) != 0) {
                messages[i].flags = VOS_MSG_FLAG_RESPONSE;
            }
            if (messages[i].type == VOS_MSG_LAUNCHED) {
                messages[i] = {};
                messages[i].type = VOS_MSG_LAUNCHED;
                messages[i].dst = 77;
                got = sizeof messages[0];
            }
        }
        if (messages[0].type != VOS_MSG_HEARTBEAT && write(fd, messages, static_cast<size_t>(got)) != got) {
            return;
        }
    }
}

VosMsgHandle *connected() {
    static VosMsgHandle *handle = [] {
        const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        strcpy(address.sun_path, VOS_MSG_HUB_SOCKET_PATH);
        unlink(address.sun_path);
        if (bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
            listen(listener, 1) != 0) {
            perror("hub socket");
            exit(1);
        }
        if (fork() == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            answer(accept(listener, nullptr, nullptr));
            _exit(0);
        }
        VosMsgHandle *opened = nullptr;
        if (vosMsg_init(77, &opened) != VOS_RET_OK) {
            fprintf(stderr, "no handle\n");
            exit(1);
        }
        return opened;
    }();
    return handle;
}

VosRet requestInC(VosMsgHandle *handle) {
    auto *msg = static_cast<VosMsgHeader *>(VOS_MALLOC_FLAGS(sizeof(VosMsgHeader), ALLOC_ZEROIZE));
    VosMsgHeader *reply = nullptr;
    msg->type = kType;
    msg->src = 77;
    msg->dst = 5;
    msg->flags = VOS_MSG_FLAG_REQUEST;
    const VosRet ret = vosMsg_sendAndGetReplyBufWithTimeout(handle, msg, &reply, 15000);
    VOS_FREE(msg);
    VOS_FREE(reply);
    return ret;
}
VosRet requestInCpp(const vos::Connection &hub) {
    return hub.ask({.to = 5, .type = kType}).ret();
}

void requestThroughC(benchmark::State &state) {
    VosMsgHandle *const handle = connected();
    for (auto _ : state) {
        benchmark::DoNotOptimize(requestInC(handle));
    }
}
BENCHMARK(requestThroughC)->Name("C++ request and its reply|C calls")->UseRealTime();

void requestThroughCpp(benchmark::State &state) {
    vos::Connection hub{connected()};
    for (auto _ : state) {
        benchmark::DoNotOptimize(requestInCpp(hub));
    }
    new vos::Connection{std::move(hub)};  // the handle goes on
}
BENCHMARK(requestThroughCpp)->Name("C++ request and its reply|vos")->UseRealTime();

/** Has the other side send events to us. */
void fill(VosMsgHandle *handle) {
    VosMsgHeader event{};
    event.type = kType;
    event.src = 5;
    event.dst = 77;
    event.flags = VOS_MSG_FLAG_EVENT;
    for (int i = 0; i < kEventsAtOnce; i++) {
        vosMsg_send(handle, &event);
    }
    usleep(2000);
}

void eventThroughC(benchmark::State &state) {
    VosMsgHandle *const handle = connected();
    pollfd waiting{-1, POLLIN, 0};
    vosMsg_getEventHandle(handle, &waiting.fd);
    int64_t seen = 0;
    while (state.KeepRunningBatch(kEventsAtOnce)) {
        state.PauseTiming();
        fill(handle);
        state.ResumeTiming();
        for (int i = 0; i < kEventsAtOnce; i++) {
            VosMsgHeader *msg = nullptr;
            if (poll(&waiting, 1, -1) > 0 && vosMsg_receive(handle, &msg) == VOS_RET_OK && msg->type == kType) {
                seen++;
            }
            VOS_FREE(msg);
        }
    }
    state.counters["seen"] = static_cast<double>(seen);
}
BENCHMARK(eventThroughC)->Name("C++ event to its handler|C calls")->Iterations(200 * kEventsAtOnce);

void eventThroughCpp(benchmark::State &state) {
    vos::Connection hub{connected()};
    int64_t seen = 0;
    {
        vos::Loop loop{hub, {}};
        loop.on(kType, [&](const vos::MessageView &) { seen++; });
        while (state.KeepRunningBatch(kEventsAtOnce)) {
            state.PauseTiming();
            fill(hub.handle());
            state.ResumeTiming();
            for (const int64_t end = seen + kEventsAtOnce; seen < end;) {
                loop.turn();
            }
        }
    }
    state.counters["seen"] = static_cast<double>(seen);
    new vos::Connection{std::move(hub)};  // the handle goes on
}
BENCHMARK(eventThroughCpp)->Name("C++ event to its handler|vos")->Iterations(200 * kEventsAtOnce);

/** Allocations of one call, which has run before. */
template <typename Call>
double counted(Call call) {
    constexpr int kTimes = 1000;
    call();
    const uint64_t before = allocations;
    for (int i = 0; i < kTimes; i++) {
        call();
    }
    return static_cast<double>(allocations - before) / kTimes;
}

int countAllocations(const char *file) {
    vos::Connection hub{connected()};
    VosMsgHandle *const handle = hub.handle();
    const std::pair<const char *, double> rows[] = {
        {"allocations of one blocking request|vos", counted([&] { requestInCpp(hub); })},
        {"allocations of one blocking request|C calls", counted([&] { requestInC(handle); })},
        {"allocations of one event sent|vos", counted([&] { hub.notify(5, VOS_MSG_HEARTBEAT); })},
        {"allocations of one event sent|C calls",
         counted([&] { UTIL_sendEventMsg(handle, 5, VOS_MSG_HEARTBEAT, 0, nullptr, 0, 1); })},
    };
    FILE *const out = fopen(file, "w");
    if (out == nullptr) {
        return 1;
    }
    fprintf(out, "{\"benchmarks\": [");
    for (const auto &row : rows) {
        fprintf(out,
                "%s\n{\"run_name\": \"%s\", \"run_type\": \"iteration\", \"cpu_time\": %g, \"time_unit\": \"calls\"}",
                &row == rows ? "" : ",", row.first, row.second);
    }
    fprintf(out, "\n]}\n");
    return fclose(out);
}

}  // namespace

int main(int argc, char **argv) {
    constexpr char kOption[] = "--allocations=";
    if (argc == 2 && strncmp(argv[1], kOption, sizeof kOption - 1) == 0) {
        return countAllocations(argv[1] + sizeof kOption - 1);
    }
    stayOnOneCore();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
