// hub_sim: drives the hub's core through seeded schedules of clients and holds it against a model.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <random>

#include "play.h"

namespace {

uint64_t simulate(uint64_t seed) {
    hubsim::setSeed(seed);
    hubsim::Random random{seed};
    hubsim::World world{random};
    hubsim::Play play{random, world};
    const hubsim::Plan &plan = play.plan();
    hubsim::play(world, play, hubsim::kPayloadLimit, plan.queueLimit, plan.memoryLimit);
    return play.steps();
}

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

}  // namespace

int main(int argc, char **argv) {
    uint64_t seed = 0;
    uint64_t runs = 1;
    double seconds = 0;
    bool verbose = false;
    CLI::App app{"Drives the hub's core through seeded schedules of clients and holds it against a model.", "hub_sim"};
    const CLI::Option *given = app.add_option("--seed", seed, "the first seed; without it one that is new");
    app.add_option("--runs", runs, "how many seeds, one after the other")->capture_default_str();
    app.add_option("--seconds", seconds, "go on with further seeds for that long");
    app.add_flag("--verbose", verbose, "show the hub's report");
    CLI11_PARSE(app, argc, argv);
    if (given->count() == 0) {
        seed = std::random_device{}();
    }
    if (verbose) {
        hubsim::beVerbose();
    }
    hubsim::tellSeedOfCrashes();
    const Clock::time_point start = Clock::now();
    uint64_t steps = 0;
    uint64_t done = 0;
    for (; done < runs || secondsSince(start) < seconds; done++) {
        steps += simulate(seed + done);
    }
    printf("%llu steps in %llu runs from seed %llu on without a finding, %.0f million a minute\n",
           static_cast<unsigned long long>(steps), static_cast<unsigned long long>(done),
           static_cast<unsigned long long>(seed), static_cast<double>(steps) / secondsSince(start) * 60e-6);
    return 0;
}
