// How long a test waits.
#pragma once

#include <cstdint>

namespace vostest {

/** For what comes at once unless something is broken. */
constexpr uint32_t patienceMs() {
    return 20000;
}

}  // namespace vostest
