// The daemon log against plain stdio and spdlog: entries that the level suppresses, and entries that go to a file and
// to standard error, each of them written through at once.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>

#include "vos/log.h"

namespace {

constexpr VosEntityId kEid = 4294967295U;
constexpr const char *kKeyFile = "/tmp/logKeyEID4294967295";
constexpr const char *kPeerFile = "/tmp/log3/bench_peer.log";
constexpr uint32_t kNeverRotate = 0xFFFFFFFF;

/** Standard error thrown away for the length of one benchmark. */
class QuietStderr {
  public:
    QuietStderr() : saved_{dup(STDERR_FILENO)} {
        const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(null, STDERR_FILENO);
        close(null);
    }
    ~QuietStderr() {
        dup2(saved_, STDERR_FILENO);
        close(saved_);
    }
    QuietStderr(const QuietStderr &) = delete;
    QuietStderr &operator=(const QuietStderr &) = delete;

  private:
    int saved_;
};

/** The daemon log, opened as a daemon opens it; leaves nothing behind. */
class DaemonLog {
  public:
    DaemonLog() {
        vosLog_init(kEid);
        vosLog_setMaxSize(kNeverRotate);
    }
    ~DaemonLog() {
        vosLog_cleanup();
        shmctl(shmget(ftok(kKeyFile, VOS_LOG_KEY_ID), 0, 0), IPC_RMID, nullptr);
        std::filesystem::remove(kKeyFile);
        std::filesystem::remove(VOS_LOG_DIRECTORY "4294967295.log");
    }
    DaemonLog(const DaemonLog &) = delete;
    DaemonLog &operator=(const DaemonLog &) = delete;
};

std::shared_ptr<spdlog::logger> spdLogger() {
    auto file = std::make_shared<spdlog::sinks::basic_file_sink_st>(kPeerFile, true);
    auto logger = std::make_shared<spdlog::logger>(
        "EID4294967295", spdlog::sinks_init_list{file, std::make_shared<spdlog::sinks::stderr_sink_st>()});
    // The same header as the daemon log's: name, level, seconds and milliseconds, function and line.
    logger->set_pattern("\033[1;31m%n:%l:%S.%e:%!:%#:%v\033[0m");
    logger->flush_on(spdlog::level::trace);
    return logger;
}

void suppressedVos(benchmark::State &state) {
    const DaemonLog log;
    int value = 0;
    for (auto _ : state) {
        VOS_LOG_DEBUG("value %d of %s", ++value, "port");
    }
}

// What recording the call site costs when printf does it.
void suppressedSnprintf(benchmark::State &state) {
    char site[VOS_LOG_CALL_SITE_SIZE];
    for (auto _ : state) {
        snprintf(site, sizeof site, "<%s:%d>", __func__, __LINE__);
        benchmark::DoNotOptimize(site);
        benchmark::ClobberMemory();
    }
}

void suppressedSpdlog(benchmark::State &state) {
    const auto logger = spdLogger();
    int value = 0;
    for (auto _ : state) {
        SPDLOG_LOGGER_CALL(logger, spdlog::level::debug, "value {} of {}", ++value, "port");
        benchmark::DoNotOptimize(value);
    }
}

void emittedVos(benchmark::State &state) {
    const DaemonLog log;
    const QuietStderr quiet;
    int value = 0;
    for (auto _ : state) {
        VOS_LOG_ERROR("value %d of %s", ++value, "port");
    }
}

void emittedStdio(benchmark::State &state) {
    FILE *file = fopen(kPeerFile, "ae");
    const QuietStderr quiet;
    int value = 0;
    for (auto _ : state) {
        ++value;
        for (FILE *stream : {file, stderr}) {
            fprintf(stream, "\033[1;31m%s:%s:%u.%03u:%s:%u:value %d of %s\033[0m\n", "EID4294967295", "error", 345U,
                    678U, __func__, static_cast<unsigned>(__LINE__), value, "port");
            fflush(stream);
        }
    }
    fclose(file);
}

void emittedSpdlog(benchmark::State &state) {
    const auto logger = spdLogger();
    const QuietStderr quiet;
    int value = 0;
    for (auto _ : state) {
        SPDLOG_LOGGER_CALL(logger, spdlog::level::err, "value {} of {}", ++value, "port");
    }
}

}  // namespace

int main(int argc, char **argv) {
    std::filesystem::create_directories(VOS_LOG_DIRECTORY);
    benchmark::RegisterBenchmark("log suppressed, call site recorded|vos", suppressedVos);
    benchmark::RegisterBenchmark("log suppressed, call site recorded|snprintf of the call site", suppressedSnprintf);
    benchmark::RegisterBenchmark("log suppressed, call site recorded|spdlog, no call site", suppressedSpdlog);
    benchmark::RegisterBenchmark("log emitted to file and stderr|vos", emittedVos);
    benchmark::RegisterBenchmark("log emitted to file and stderr|fprintf+fflush", emittedStdio);
    benchmark::RegisterBenchmark("log emitted to file and stderr|spdlog", emittedSpdlog);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    std::filesystem::remove(kPeerFile);
}
