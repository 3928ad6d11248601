// What the simulated kernel plays on: a world and whoever acts in it.
#pragma once

#include "world.h"

namespace hubsim {

/** Acts while the hub waits. */
class Scene {
  public:
    virtual ~Scene() = default;
    /** Lets clients act and time pass. Returns how many events there are; `over` is set when the hub is to end. */
    virtual size_t wait(std::span<epoll_event> events, int64_t timeoutNs, bool *over) = 0;
    virtual uint64_t steps() const = 0;
};

/** Lets a hub run with these limits until the scene is over; what it throws is a finding, and so is a block that it
 *  leaves behind. */
void play(World &world, Scene &scene, size_t longestPayload, size_t queueLimit, size_t memoryLimit);

/** Whether a hub plays, where. */
bool isPlaying();
World &world();
Scene &scene();

/** Shows the hub's report. */
void beVerbose();
/** What brings this run back, for the report of a finding. */
void setSeed(uint64_t seed);
void tellSeedOfCrashes();

}  // namespace hubsim
