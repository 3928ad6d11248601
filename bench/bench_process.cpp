// Starting and collecting /bin/true: the spawner against fork + exec and posix_spawn, from a small parent and from one
// with a gibibyte resident.
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "vos/prctl.h"

namespace {

constexpr const char *kProgram = "/bin/true";
char *const kArgv[] = {const_cast<char *>("true"), nullptr};

// Memory of the parent that is really there.
class Resident {
  public:
    explicit Resident(int64_t mebibytes) : size_{static_cast<size_t>(mebibytes) << 20} {
        memory_ = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        memset(memory_, 1, size_);
    }
    ~Resident() { munmap(memory_, size_); }
    Resident(const Resident &) = delete;
    Resident &operator=(const Resident &) = delete;

  private:
    size_t size_;
    void *memory_;
};

void vosRound(benchmark::State &state) {
    const Resident resident{state.range(0)};
    PrctlSpawnRequest request{};
    request.exe = kProgram;
    request.stdoutFd = STDOUT_FILENO;
    request.stderrFd = STDERR_FILENO;
    request.serverFd = -1;
    request.maxFd = 63;
    for (auto _ : state) {
        PrctlProcessResult result;
        prctl_spawnProcess(&request, &result);
        const PrctlCollectRequest collect{PRCTL_COLLECT_PID, result.pid, 0};
        prctl_collectProcess(&collect, &result);
    }
}

void forkExecRound(benchmark::State &state) {
    const Resident resident{state.range(0)};
    for (auto _ : state) {
        const pid_t pid = fork();
        if (pid == 0) {
            execv(kProgram, kArgv);
            _exit(127);
        }
        waitpid(pid, nullptr, 0);
    }
}

void posixSpawnRound(benchmark::State &state) {
    const Resident resident{state.range(0)};
    for (auto _ : state) {
        pid_t pid = -1;
        posix_spawn(&pid, kProgram, nullptr, nullptr, kArgv, environ);
        waitpid(pid, nullptr, 0);
    }
}

void registerRows() {
    for (const int64_t mebibytes : {16, 1024}) {
        const std::string row = "spawn + collect /bin/true, parent of " + std::to_string(mebibytes) + " MiB|";
        for (const auto &[system, round] : {std::pair<const char *, void (*)(benchmark::State &)>{"vos", vosRound},
                                            {"fork + exec", forkExecRound},
                                            {"posix_spawn", posixSpawnRound}}) {
            benchmark::RegisterBenchmark((row + system).c_str(), round)->Arg(mebibytes)->UseRealTime();
        }
    }
}

}  // namespace

int main(int argc, char **argv) {
    registerRows();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
