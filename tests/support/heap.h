// The library's count of the heap.
#pragma once

#include "vos/mem.h"

namespace vostest {

inline uint32_t heapBytes() {
    VosMemStats stats;
    vosMem_getStats(&stats);
    return stats.heapBytesInUse;
}

}  // namespace vostest
