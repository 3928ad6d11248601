// The hub's time base.
#pragma once

#include "kernel.h"

namespace hubd {

constexpr int64_t kNsPerMs = 1'000'000;

using kernel::monotonicNs;

/** Milliseconds from `sinceNs` to now. */
inline uint64_t elapsedMs(int64_t sinceNs) {
    return static_cast<uint64_t>((monotonicNs() - sinceNs) / kNsPerMs);
}

}  // namespace hubd
