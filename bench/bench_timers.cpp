// Timer list against libevent's heap: one round sets N timers that are due at once and runs them all.
#include <benchmark/benchmark.h>
#include <event2/event.h>
#include <event2/event_struct.h>

#include <cstdint>
#include <string>
#include <vector>

#include "vos/tmr.h"

namespace {

void count(void *ctxData) {
    ++*static_cast<int64_t *>(ctxData);
}

void vosRound(benchmark::State &state) {
    const auto timers = static_cast<size_t>(state.range(0));
    std::vector<int64_t> runs(timers);
    void *list = nullptr;
    utilTmr_init(&list);
    for (auto _ : state) {
        for (int64_t &run : runs) {
            utilTmr_set(list, count, &run, 0, "bench");
        }
        while (utilTmr_getNumberOfEvents(list) != 0) {
            utilTmr_executeExpiredEvents(list);
        }
    }
    benchmark::DoNotOptimize(runs.data());
    utilTmr_cleanup(&list);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// libevent reads the coarse clock, ticks of some milliseconds, unless told otherwise.
event_base *newBase(bool preciseClock) {
    event_config *config = event_config_new();
    if (preciseClock) {
        event_config_set_flag(config, EVENT_BASE_FLAG_PRECISE_TIMER);
    }
    event_base *base = event_base_new_with_config(config);
    event_config_free(config);
    return base;
}

void libeventRound(benchmark::State &state, bool preciseClock) {
    const auto timers = static_cast<size_t>(state.range(0));
    std::vector<int64_t> runs(timers);
    std::vector<event> events(timers);
    event_base *base = newBase(preciseClock);
    for (size_t i = 0; i < timers; i++) {
        evtimer_assign(
            &events[i], base, [](evutil_socket_t, short, void *arg) { count(arg); }, &runs[i]);
    }
    const timeval atOnce{};
    for (auto _ : state) {
        for (event &timer : events) {
            evtimer_add(&timer, &atOnce);
        }
        event_base_loop(base, 0);
    }
    benchmark::DoNotOptimize(runs.data());
    event_base_free(base);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void registerRows() {
    for (const int64_t timers : {10, 100, 1000}) {
        const std::string row = "timer set+execute " + std::to_string(timers) + " events|";
        benchmark::RegisterBenchmark((row + "vos").c_str(), vosRound)->Arg(timers);
        benchmark::RegisterBenchmark((row + "libevent").c_str(), libeventRound, false)->Arg(timers);
        benchmark::RegisterBenchmark((row + "libevent, precise clock").c_str(), libeventRound, true)->Arg(timers);
    }
}

}  // namespace

int main(int argc, char **argv) {
    registerRows();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
