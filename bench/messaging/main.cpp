// Messaging rows: round trips and events of three systems in one run, on one core and spread over the cores.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "system.h"
#include "vos/msg_types.h"

namespace bench {

void fail(const std::string &what) {
    fprintf(stderr, "bench_messaging: %s\n", what.c_str());
    _exit(1);
}

pid_t spawn(const std::function<void()> &body) {
    int tied[2];
    if (pipe2(tied, O_CLOEXEC) != 0) {
        fail("pipe");
    }
    const pid_t pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(tied[0]);
        close(tied[1]);
        body();
        _exit(0);
    }
    // Not before the child is tied to this process may anything happen to either.
    close(tied[1]);
    char none;
    [[maybe_unused]] const ssize_t end = read(tied[0], &none, 1);
    close(tied[0]);
    return pid;
}

namespace {

constexpr size_t kWarmUp = 100;
// Between two waits for B: what is on its way to B stays within what a hub keeps for one client.
constexpr size_t kBatchEvents = 5000;
constexpr size_t kBatchBytes = 4 << 20;

struct Amounts {
    size_t trips = 3000;
    size_t cpuTrips = 100000;
    size_t eventBatches = 4;
};

int64_t nowNs(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

std::vector<int> allowedCpus() {
    cpu_set_t set;
    std::vector<int> cpus;
    sched_getaffinity(0, sizeof set, &set);
    for (int cpu = 0; cpu < CPU_SETSIZE; cpu++) {
        if (CPU_ISSET(cpu, &set)) {
            cpus.push_back(cpu);
        }
    }
    return cpus;
}

const std::vector<int> g_cpus = allowedCpus();

enum class Placement { kOneCore, kSpread };

// Keeps one core from going to sleep, at a priority that gives way to everything else: how deep a core sleeps depends
// on how fast the systems are, and would decide the figures.
pid_t keepAwake(int cpu) {
    return spawn([&] {
        cpu_set_t set;
        CPU_ZERO(&set);
        CPU_SET(cpu, &set);
        sched_setaffinity(0, sizeof set, &set);
        const sched_param none{};
        sched_setscheduler(0, SCHED_IDLE, &none);
        for (volatile unsigned turns = 0;;) {
            turns = turns + 1;
        }
    });
}

std::vector<pid_t> g_keepers;

// A, router and B on one core, or each on a core of its own as far as there are some. Fixed either way: where the
// scheduler puts a woken process would decide the figures otherwise.
void place(const System &system, Placement placement) {
    std::vector<pid_t> processes{0};
    processes.insert(processes.end(), system.processes.begin(), system.processes.end());
    for (size_t i = 0; i < processes.size(); i++) {
        cpu_set_t set;
        CPU_ZERO(&set);
        CPU_SET(placement == Placement::kOneCore ? g_cpus.back() : g_cpus[i % g_cpus.size()], &set);
        sched_setaffinity(processes[i], sizeof set, &set);
    }
    for (const pid_t keeper : g_keepers) {
        kill(keeper, placement == Placement::kOneCore ? SIGSTOP : SIGCONT);
    }
}

int64_t cpuOfAll(const System &system) {
    int64_t sum = nowNs(CLOCK_PROCESS_CPUTIME_ID);
    for (const pid_t pid : system.processes) {
        clockid_t clock;
        if (clock_getcpuclockid(pid, &clock) == 0) {
            sum += nowNs(clock);
        }
    }
    return sum;
}

void warmUp(Client &client, size_t payload) {
    for (size_t i = 0; i < kWarmUp; i++) {
        client.roundTrip(payload);
    }
}

/** Seconds of the middle one of many round trips. */
double medianTrip(const System &, Client &client, size_t payload, size_t trips) {
    std::vector<int64_t> samples;
    samples.reserve(trips);
    for (size_t i = 0; i < trips; i++) {
        const int64_t start = nowNs(CLOCK_MONOTONIC);
        client.roundTrip(payload);
        samples.push_back(nowNs(CLOCK_MONOTONIC) - start);
    }
    const auto middle = samples.begin() + static_cast<ptrdiff_t>(trips / 2);
    std::nth_element(samples.begin(), middle, samples.end());
    return static_cast<double>(*middle) * 1e-9;
}

/** Seconds of processor time, user and system, that all processes of the system took. */
double cpuOfTrips(const System &system, Client &client, size_t payload, size_t trips) {
    const int64_t before = cpuOfAll(system);
    for (size_t i = 0; i < trips; i++) {
        client.roundTrip(payload);
    }
    return static_cast<double>(cpuOfAll(system) - before) * 1e-9;
}

/** Seconds for each event, from the first send until B has the last. */
double timePerEvent(const System &, Client &client, size_t payload, size_t batches) {
    const size_t batch = std::min(kBatchEvents, kBatchBytes / (payload + sizeof(VosMsgHeader)));
    const int64_t start = nowNs(CLOCK_MONOTONIC);
    for (size_t i = 0; i < batches; i++) {
        client.events(payload, batch);
    }
    return static_cast<double>(nowNs(CLOCK_MONOTONIC) - start) * 1e-9 / static_cast<double>(batches * batch);
}

using Measure = double (*)(const System &, Client &, size_t payload, size_t amount);

struct Subject {
    std::string name;
    const System &system;
    Client &client;
};

void addRow(const std::string &row, const Subject &subject, Placement placement, Measure measure, size_t payload,
            size_t amount, benchmark::TimeUnit unit = benchmark::kMicrosecond) {
    const auto run = [=](benchmark::State &state) {
        place(subject.system, placement);
        warmUp(subject.client, payload);
        for (auto _ : state) {
            state.SetIterationTime(measure(subject.system, subject.client, payload, amount));
        }
    };
    const std::string name = row + (placement == Placement::kOneCore ? ", one core|" : ", spread|") + subject.name;
    benchmark::RegisterBenchmark(name.c_str(), run)->UseManualTime()->Iterations(1)->Unit(unit);
}

void registerRows(const std::vector<System> &systems, Client &srpc, const Amounts &amounts) {
    std::vector<Subject> subjects;
    for (const System &system : systems) {
        subjects.push_back({system.name, system, *system.client});
    }
    const Subject srpcVos{"vos", systems[0], srpc};
    const Subject plainVos{"plain request", systems[0], *systems[0].client};
    for (const Placement placement : {Placement::kOneCore, Placement::kSpread}) {
        if (placement == Placement::kSpread && g_cpus.size() < 2) {
            continue;
        }
        const auto eachPayload = [&](const std::string &row, Measure measure, size_t amount) {
            for (const size_t payload : {size_t{0}, size_t{64}, size_t{1024}, kLargestPayload}) {
                for (const Subject &subject : subjects) {
                    addRow(row + " " + std::to_string(payload) + " B", subject, placement, measure, payload, amount);
                }
            }
        };
        eachPayload("round trip", medianTrip, amounts.trips);
        eachPayload("one event", timePerEvent, amounts.eventBatches);
        for (const Subject &subject : subjects) {
            addRow("CPU of " + std::to_string(amounts.cpuTrips) + " round trips 64 B", subject, placement, cpuOfTrips,
                   64, amounts.cpuTrips, benchmark::kMillisecond);
        }
        for (const Subject &subject : {srpcVos, plainVos}) {
            addRow("SRPC round trip 64 B", subject, placement, medianTrip, 64, amounts.trips);
        }
    }
}

/** The value behind "--NAME=" on the command line, else NULL. */
const char *option(int argc, char **argv, const char *name) {
    const std::string prefix = std::string{"--"} + name + "=";
    for (int i = 1; i < argc; i++) {
        if (strncmp(argv[i], prefix.c_str(), prefix.size()) == 0) {
            return argv[i] + prefix.size();
        }
    }
    return nullptr;
}

}  // namespace

}  // namespace bench

/** Google Benchmark's options, or: --requests=N --system=NAME, N round trips as a client under strace makes them. */
int main(int argc, char **argv) {
    using namespace bench;
    std::vector<System> systems;
    systems.push_back(startVos());
    systems.push_back(startFloor());
    systems.push_back(startDbus());
    if (const char *requests = option(argc, argv, "requests")) {
        const char *name = option(argc, argv, "system");
        for (const System &system : systems) {
            for (int left = system.name == name ? atoi(requests) : 0; left > 0; left--) {
                system.client->roundTrip(64);
            }
        }
        return 0;
    }
    Amounts amounts;
    if (getenv("VOS_BENCH_QUICK") != nullptr) {
        amounts = {.trips = 300, .cpuTrips = 2000, .eventBatches = 1};
    }
    const std::unique_ptr<Client> srpc = srpcClient(systems.front());
    for (const int cpu : g_cpus) {
        g_keepers.push_back(keepAwake(cpu));
    }
    benchmark::Initialize(&argc, argv);
    registerRows(systems, *srpc, amounts);
    benchmark::RunSpecifiedBenchmarks();
    for (const System &system : systems) {
        for (const pid_t pid : system.processes) {
            kill(pid, SIGTERM);
            waitpid(pid, nullptr, 0);
        }
    }
}
