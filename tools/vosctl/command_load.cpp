// vosctl load: CPU and memory occupancy, once or as a running plot.
#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <ctime>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "arguments.h"
#include "command.h"
#include "output.h"
#include "vos/load.h"

namespace {

struct Options {
    bool watch = false;
    uint32_t intervalMs = 1000;
    uint32_t count = 0;  // 0: without end
    bool json = false;
};

struct Sample {
    UtilCpuOccupy older{};
    UtilCpuOccupy newer{};
    UtilMemOccupy memory{};

    uint32_t cpuPercent() const { return std::min(UTIL_calCpuOccupy(&older, &newer), 100U); }
    /** Kilobytes that are neither free nor given back when somebody asks. */
    uint64_t usedKb() const {
        const uint64_t available = uint64_t{memory.memFree.value} + memory.buffers.value + memory.cached.value;
        return memory.memTotal.value - std::min<uint64_t>(available, memory.memTotal.value);
    }
    uint64_t ticks(uint64_t UtilCpuOccupy::*field) const { return newer.*field - older.*field; }
    uint32_t memoryPercent() const {
        return memory.memTotal.value == 0 ? 0 : static_cast<uint32_t>(usedKb() * 100 / memory.memTotal.value);
    }
};

UtilCpuOccupy readCpu() {
    UtilCpuOccupy snapshot{};
    if (UTIL_getCpuOccupy(&snapshot) != 0) {
        throw vosctl::Failure{"cannot read /proc/stat; is /proc mounted?"};
    }
    return snapshot;
}

Sample takeSample(const UtilCpuOccupy &older, uint32_t intervalMs) {
    std::this_thread::sleep_for(std::chrono::milliseconds{intervalMs});
    Sample sample{.older = older, .newer = readCpu()};
    if (UTIL_getMemOccupy(&sample.memory) != 0) {
        throw vosctl::Failure{"cannot read /proc/meminfo; is /proc mounted?"};
    }
    return sample;
}

void printOnce(const Sample &sample) {
    printf("cpu     %3" PRIu32 " %% busy; ticks: user %" PRIu64 ", nice %" PRIu64 ", system %" PRIu64 ", idle %" PRIu64
           ", iowait %" PRIu64 ", irq %" PRIu64 ", softirq %" PRIu64 "\n",
           sample.cpuPercent(), sample.ticks(&UtilCpuOccupy::user), sample.ticks(&UtilCpuOccupy::nice),
           sample.ticks(&UtilCpuOccupy::system), sample.ticks(&UtilCpuOccupy::idle),
           sample.ticks(&UtilCpuOccupy::iowait), sample.ticks(&UtilCpuOccupy::irq),
           sample.ticks(&UtilCpuOccupy::softirq));
    printf("memory  %3" PRIu32 " %% in use; kB: total %" PRIu32 ", free %" PRIu32 ", buffers %" PRIu32
           ", cached %" PRIu32 "\n",
           sample.memoryPercent(), sample.memory.memTotal.value, sample.memory.memFree.value,
           sample.memory.buffers.value, sample.memory.cached.value);
}

void printJson(const Sample &sample) {
    vosctl::printJson({{"cpuPercent", sample.cpuPercent()},
                       {"ticks",
                        {{"user", sample.ticks(&UtilCpuOccupy::user)},
                         {"nice", sample.ticks(&UtilCpuOccupy::nice)},
                         {"system", sample.ticks(&UtilCpuOccupy::system)},
                         {"idle", sample.ticks(&UtilCpuOccupy::idle)},
                         {"iowait", sample.ticks(&UtilCpuOccupy::iowait)},
                         {"irq", sample.ticks(&UtilCpuOccupy::irq)},
                         {"softirq", sample.ticks(&UtilCpuOccupy::softirq)}}},
                       {"memoryPercent", sample.memoryPercent()},
                       {"memoryKb",
                        {{"total", sample.memory.memTotal.value},
                         {"free", sample.memory.memFree.value},
                         {"buffers", sample.memory.buffers.value},
                         {"cached", sample.memory.cached.value}}}});
    vosctl::flushOutput();
}

std::string bar(uint32_t percent) {
    constexpr size_t kWidth = 25;
    // Counters that step back make a percentage beyond any bar.
    const size_t filled = std::min<size_t>(percent, 100) * kWidth / 100;
    return std::string(filled, '#') + std::string(kWidth - filled, ' ');
}

void printLine(const Sample &sample) {
    const time_t now = time(nullptr);
    char clock[16];
    tm local{};
    strftime(clock, sizeof clock, "%T", localtime_r(&now, &local));
    printf("%s  cpu %3" PRIu32 " %% |%s|  memory %3" PRIu32 " %% |%s|\n", clock, sample.cpuPercent(),
           bar(sample.cpuPercent()).c_str(), sample.memoryPercent(), bar(sample.memoryPercent()).c_str());
    vosctl::flushOutput();
}

void run(const Options &options) {
    UtilCpuOccupy last = readCpu();
    if (!options.watch) {
        return (options.json ? printJson : printOnce)(takeSample(last, options.intervalMs));
    }
    for (uint32_t line = 0; options.count == 0 || line < options.count; line++) {
        const Sample sample = takeSample(last, options.intervalMs);
        (options.json ? printJson : printLine)(sample);
        last = sample.newer;
    }
}

void setUp(vosctl::Arguments app) {
    auto options = std::make_shared<Options>();
    app.flag("--watch", options->watch, "plot a line for each interval until interrupted");
    app.option("--interval", options->intervalMs, "milliseconds between two looks")
        .called("MS")
        .within(1U, UINT32_MAX)
        .showsDefault();
    vosctl::addCount(app, "--count", options->count, "end --watch after this many lines");
    vosctl::addJson(app, options->json, "one JSON object, or one a line");
    app.runs([options] { run(*options); });
}
const vosctl::Command kCommand{"load", "show CPU and memory occupancy", setUp};

}  // namespace
