// A hub on its stage.
#include "stage.h"

#include <unistd.h>

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "finding.h"
#include "heap.h"
#include "hub.h"
#include "report.h"

namespace hubsim {

namespace {

World *g_world = nullptr;
Scene *g_scene = nullptr;
uint64_t g_seed = 0;
bool g_verbose = false;

void tellSeed() {
    printf("hub_sim: step %llu; again with: hub_sim --seed %llu --verbose\n",
           static_cast<unsigned long long>(g_scene != nullptr ? g_scene->steps() : 0),
           static_cast<unsigned long long>(g_seed));
    fflush(stdout);
}

void tell(const char *format, va_list arguments) {
    vfprintf(stdout, format, arguments);
    fputc('\n', stdout);
}

}  // namespace

bool isPlaying() {
    return g_world != nullptr;
}

World &world() {
    return *g_world;
}

Scene &scene() {
    return *g_scene;
}

void beVerbose() {
    g_verbose = true;
}

void tellSeedOfCrashes() {
    for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) {
        signal(number, [](int crash) {
            tellSeed();
            signal(crash, SIG_DFL);
            raise(crash);
        });
    }
}

void setSeed(uint64_t seed) {
    g_seed = seed;
}

void finding(const char *format, ...) {
    const HeapOwner owner{false};
    va_list arguments;
    va_start(arguments, format);
    fputs("hub_sim: FINDING: ", stdout);
    tell(format, arguments);
    va_end(arguments);
    tellSeed();
    abort();
}

void play(World &world, Scene &scene, size_t longestPayload, size_t queueLimit, size_t memoryLimit) {
    g_world = &world;
    g_scene = &scene;
    try {
        const HeapOwner owner{true};
        hubd::Options options;
        options.payloadLimit = longestPayload;
        options.queueLimit = queueLimit;
        options.pluginDataDir = options.pluginTmpDir = "/dev/null/none";
        options.memoryLimit = memoryLimit;
        hubd::Hub hub{options, kListenFd, kSignalFd};
        hub.run();
    } catch (const std::exception &error) {
        finding("the hub ends with an exception: %s", error.what());
    }
    if (hubHeap().blocks != 0) {
        finding("%zu blocks are left of the hub", hubHeap().blocks);
    }
    g_world = nullptr;
    g_scene = nullptr;
}

}  // namespace hubsim

void hubd::logLine(const char *format, ...) {
    if (hubsim::g_verbose) {
        va_list arguments;
        va_start(arguments, format);
        hubsim::tell(format, arguments);
        va_end(arguments);
    }
}
