// The hub's time base.
#pragma once

#include <cstdint>
#include <ctime>

namespace hubd {

constexpr int64_t kNsPerMs = 1'000'000;

inline int64_t clockNs(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

inline int64_t monotonicNs() {
    return clockNs(CLOCK_MONOTONIC);
}

/** Milliseconds from `sinceNs` to now. */
inline uint64_t elapsedMs(int64_t sinceNs) {
    return static_cast<uint64_t>((monotonicNs() - sinceNs) / kNsPerMs);
}

}  // namespace hubd
