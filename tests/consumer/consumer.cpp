// A user's program in C++17, built through find_package against an installed tree.
#include <vos/vos.h>

int main() {
    VosMemStats stats{};
    void *block = VOS_MALLOC_FLAGS(100, ALLOC_ZEROIZE);
    vosMem_getStats(&stats);
    VOS_FREE(block);
    return stats.heapBytesInUse == 100 ? 0 : 1;
}
