// How often a test repeats itself.
#pragma once

#include <cstdlib>

namespace vostest {

/** `all`, or `few` where every call of the library fails in turn (scripts/faults.sh): there the test runs once for each
 *  of its calls, and later rounds make the same calls as earlier ones. */
inline unsigned rounds(unsigned all, unsigned few) {
    return getenv("VOSTEST_FAIL") == nullptr ? all : few;
}

}  // namespace vostest
