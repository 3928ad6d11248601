// How often and how long a test tries.
#pragma once

#include <cstdint>
#include <cstdlib>

namespace vostest {

/** Whether every call of the library fails in turn (scripts/faults.sh): then the test runs once for each of its calls,
 *  and much of what it waits for never comes. */
inline bool runsForEachCall() {
    return getenv("VOSTEST_FAIL") != nullptr;
}

/** `all`, or `few` where more rounds only make the same calls again. */
inline unsigned rounds(unsigned all, unsigned few) {
    return runsForEachCall() ? few : all;
}

/** The step through cases that all make the same calls: 1, or `wide`. */
inline unsigned step(unsigned wide) {
    return runsForEachCall() ? wide : 1;
}

/** For what comes at once unless something is broken. */
inline uint32_t patienceMs() {
    return runsForEachCall() ? 1000 : 20000;
}

}  // namespace vostest
