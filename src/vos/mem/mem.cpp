// Guarded allocation from the process heap or the shared pool.
#include "vos/mem.h"

#include <fcntl.h>
#include <sys/mman.h>
#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/own_names.h"
#include "vos/mem/unfilled.h"
#include "vos/pool.h"

namespace {

constexpr uint32_t kOverhead = 20;  // header and guard
constexpr uint32_t kMaxPatternFill = 65535;
constexpr int kFreshFill = 0x95;
constexpr int kFreedFill = 0x97;
constexpr uint8_t kPadByte = 0xFD;
constexpr uint32_t kGuardWord = 0xFDFDFDFD;
constexpr size_t kGuardSize = 2 * sizeof kGuardWord;
constexpr uint32_t kRegionBase = 0x58800000;  // where daemons attach the shared region

// A heap block starts this far into its malloc block, which puts the user area behind the 12-byte header on malloc's
// own alignment; structures with pointers live there.
constexpr uint32_t kHeapSkew = 4;

// Read and written word by word where it lies: a copy on the stack is read back in other widths than it was written,
// which stalls. Packed, because a pointer that is not the manager's may lie anywhere.
struct [[gnu::packed, gnu::may_alias]] BlockHeader {
    uint32_t flags;
    uint32_t size;
    uint32_t check;
};
static_assert(sizeof(BlockHeader) == 12);

constinit struct {
    uintptr_t shmStart = 0;
    uintptr_t shmEnd = 0;
    uint32_t shmSize = 0;
    std::atomic<uint32_t> heapBytesInUse = 0;
    std::atomic<uint32_t> heapNumAllocs = 0;
    std::atomic<uint32_t> heapNumFrees = 0;
} mStats;

// Task threads free records too; the figures need no order among themselves. Most daemons have one thread only, which
// spares them the locked instructions.
void count(std::atomic<uint32_t> &calls, uint32_t bytes) {
    constexpr auto relaxed = std::memory_order_relaxed;
    std::atomic<uint32_t> &inUse = mStats.heapBytesInUse;
#if __has_include(<sys/single_threaded.h>)
    if (__libc_single_threaded) {
        inUse.store(inUse.load(relaxed) + bytes, relaxed);
        calls.store(calls.load(relaxed) + 1, relaxed);
        return;
    }
#endif
    inUse.fetch_add(bytes, relaxed);
    calls.fetch_add(1, relaxed);
}

uint64_t roundUp4(uint32_t size) {
    return (uint64_t{size} + 3) & ~uint64_t{3};
}

uint8_t *blockStart(void *buf) {
    return static_cast<uint8_t *>(buf) - sizeof(BlockHeader);
}

const BlockHeader &headerOf(const void *buf) {
    return static_cast<const BlockHeader *>(buf)[-1];
}

bool headerIsSound(const BlockHeader &header) {
    return header.check == ~header.size;
}

uint8_t *takeMemory(uint32_t size, uint64_t total, uint32_t flags) {
    if ((flags & ALLOC_SHARED_MEM) != 0) {
        return static_cast<uint8_t *>(
            vos::own::bget(static_cast<int64_t>(total)));  // the pool counts for all processes
    }
    auto *memory = static_cast<uint8_t *>(oal_malloc(static_cast<uint32_t>(total + kHeapSkew)));
    if (memory == nullptr) {
        return nullptr;
    }
    count(mStats.heapNumAllocs, size);
    return memory + kHeapSkew;
}

// One word at the end of the caller's bytes takes in all of the padding, which is shorter, and begins the guard. That
// comes second, in one piece as it is read: a read of what two stores wrote waits for both.
void writeTail(uint8_t *user, uint32_t size) {
    memset(user + size, kPadByte, sizeof kGuardWord);
    memset(user + roundUp4(size), kPadByte, kGuardSize);
}

bool tailIsSound(const uint8_t *user, uint32_t size) {
    uint32_t padding;
    uint64_t guard;
    memcpy(&padding, user + size, sizeof padding);
    memcpy(&guard, user + roundUp4(size), sizeof guard);
    return padding == kGuardWord && guard == (uint64_t{kGuardWord} << 32 | kGuardWord);
}

[[gnu::cold, gnu::noinline]] void reportUnderflow(const BlockHeader &header, const char *func, int line) {
    VOS_DBG_ERROR("%s():%d:memory underflow detected, %d %d", func, line, static_cast<int>(header.size),
                  static_cast<int>(header.check));
    utilAst_assertFunc(__FILE__, __LINE__, "0", 0);
}

// Reports the first damage of padding or guard under the caller's name.
[[gnu::cold, gnu::noinline]] void reportOverflow(const uint8_t *user, uint32_t size, const char *func, int line) {
    const uint8_t *guard = user + roundUp4(size);
    const uint8_t *damaged = std::find_if(user + size, guard, [](uint8_t byte) { return byte != kPadByte; });
    uint32_t words[2];
    memcpy(words, guard, sizeof words);
    if (damaged != guard) {
        VOS_DBG_ERROR("%s():%d:memory overflow detected at idx=%d 0x%x 0x%x 0x%x", func, line,
                      static_cast<int>(damaged - user), *damaged, words[1], words[0]);
    } else {
        VOS_DBG_ERROR("%s():%d:memory overflow detected, 0x%x 0x%x", func, line, words[1], words[0]);
    }
    utilAst_assertFunc(__FILE__, __LINE__, "0", 0);
}

void recordPool(void *addr, uint32_t size) {
    mStats.shmStart = reinterpret_cast<uintptr_t>(addr);
    mStats.shmEnd = mStats.shmStart + size;
    mStats.shmSize = size;
    VOS_DBG_WARN("shm pool: %u-%u", static_cast<uint32_t>(mStats.shmStart), static_cast<uint32_t>(mStats.shmEnd));
}

// `unfilled` leaves the caller's bytes as the allocator gave them, whatever the flags.
void *allocate(uint32_t size, uint32_t flags, bool unfilled) {
    const uint64_t total = roundUp4(size) + kOverhead;
    if (total + kHeapSkew > UINT32_MAX) {
        return nullptr;
    }
    uint8_t *block = takeMemory(size, total, flags);
    if (block == nullptr) {
        return nullptr;
    }
    if (unfilled) {
        // A length that somebody else made up touches no memory before there is something to put there.
    } else if ((flags & ALLOC_ZEROIZE) != 0) {
        memset(block, 0, total);
    } else if (total <= kMaxPatternFill) {
        memset(block, kFreshFill, total);
    }
    *reinterpret_cast<BlockHeader *>(block) = {.flags = flags, .size = size, .check = ~size};
    uint8_t *user = block + sizeof(BlockHeader);
    writeTail(user, size);
    return user;
}

// Of the user area only the first `used` bytes get the pattern for freed memory.
void release(void *buf, uint32_t used, const char *func, int line) {
    if (buf == nullptr) {
        return;
    }
    const BlockHeader &header = headerOf(buf);
    if (!headerIsSound(header)) {
        reportUnderflow(header, func, line);
        return;  // a damaged block is leaked on purpose
    }
    const uint32_t size = header.size;
    if (!tailIsSound(static_cast<uint8_t *>(buf), size)) {
        reportOverflow(static_cast<uint8_t *>(buf), size, func, line);
        return;
    }
    uint8_t *block = blockStart(buf);
    memset(block, kFreedFill, used < size ? sizeof(BlockHeader) + used : roundUp4(size) + kOverhead);
    // The address decides, not the flags word: a block may have been made by another process.
    const auto address = reinterpret_cast<uintptr_t>(block);
    if (address >= mStats.shmStart && address < mStats.shmEnd) {
        vos::own::brel(block);
        return;
    }
    oal_free(block - kHeapSkew);
    count(mStats.heapNumFrees, 0 - size);
}

void *moveToLarger(void *buf, uint32_t size, bool unfilled, const char *func, uint32_t line) {
    const BlockHeader &header = headerOf(buf);
    void *larger = allocate(size, header.flags, unfilled);
    if (larger != nullptr) {
        memcpy(larger, buf, header.size);
        vosMem_free(buf, func, static_cast<int>(line));
    }
    return larger;
}

char *duplicate(const char *s, size_t length, uint32_t flags, const char *func, uint32_t line) {
    if (length >= UINT32_MAX) {
        return nullptr;
    }
    auto *copy = static_cast<char *>(vosMem_alloc(static_cast<uint32_t>(length + 1), flags, func, line));
    if (copy != nullptr) {
        memcpy(copy, s, length);
        copy[length] = '\0';
    }
    return copy;
}

}  // namespace

void *oal_malloc(uint32_t size) {
    return malloc(size);
}

void oal_free(void *p) {
    free(p);
}

void *vosMem_alloc(uint32_t size, uint32_t flags, const char *, uint32_t) {
    return allocate(size, flags, false);
}

void vosMem_free(void *buf, const char *func, int line) {
    release(buf, UINT32_MAX, func, line);
}

void *vosMem_realloc(void *buf, uint32_t size, const char *func, uint32_t line) {
    if (buf == nullptr) {
        VOS_DBG_ERROR("cannot take a NULL buffer");
        return nullptr;
    }
    if (size == 0) {
        vosMem_free(buf, func, static_cast<int>(line));
        return nullptr;
    }
    const BlockHeader &header = headerOf(buf);
    if (!headerIsSound(header)) {
        VOS_DBG_ERROR("memory underflow detected, %d %d", static_cast<int>(header.size),
                      static_cast<int>(header.check));
        utilAst_assertFunc(__FILE__, __LINE__, "0", 0);
        return nullptr;
    }
    if (roundUp4(size) <= roundUp4(header.size)) {
        return buf;  // never shrunk; the size word keeps the old size
    }
    return moveToLarger(buf, size, false, func, line);
}

void *vos::enlargeUnfilled(void *buf, uint32_t size, const char *func, uint32_t line) {
    return moveToLarger(buf, size, true, func, line);
}

void vos::freeUnfilled(void *buf, uint32_t used, const char *func, int line) {
    release(buf, used, func, line);
}

char *vosMem_strdup(const char *s, const char *func, uint32_t line) {
    return vosMem_strdupFlags(s, 0, func, line);
}

char *vosMem_strdupFlags(const char *s, uint32_t flags, const char *func, uint32_t line) {
    return s == nullptr ? nullptr : duplicate(s, strlen(s), flags, func, line);
}

char *vosMem_strndup(const char *s, uint32_t maxLen, const char *func, uint32_t line) {
    return vosMem_strndupFlags(s, maxLen, 0, func, line);
}

char *vosMem_strndupFlags(const char *s, uint32_t maxLen, uint32_t flags, const char *func, uint32_t line) {
    return s == nullptr ? nullptr : duplicate(s, vosMem_strnlen(s, maxLen, nullptr), flags, func, line);
}

uint32_t vosMem_strnlen(const char *s, uint32_t maxLen, bool *terminated) {
    const auto length = s == nullptr ? 0 : static_cast<uint32_t>(strnlen(s, maxLen));
    if (terminated != nullptr) {
        *terminated = s != nullptr && s[length] == '\0';
    }
    return length;
}

bool vosMem_isAllocedMem(const void *buf) {
    if (buf == nullptr) {
        return false;
    }
    const BlockHeader &header = headerOf(buf);
    // Contract: a block with both flags counts as foreign.
    return headerIsSound(header) && header.flags < 3;
}

void vosMem_initSharedMem(void *addr, uint32_t size) {
    if (addr == nullptr) {
        return;
    }
    recordPool(addr, size);
    vos::own::bpool(addr, size);
}

void vosMem_initSharedMemPointer(void *addr, uint32_t size) {
    if (addr == nullptr) {
        return;
    }
    recordPool(addr, size);
    vos::own::zeta_secondary_bpool(addr);
}

void vosMem_cleanup(void) {
    vos::own::zeta_cleanup_bpool();
}

void vosMem_getStats(VosMemStats *out) {
    if (out == nullptr) {
        return;
    }
    int64_t inUse = 0;
    int64_t allocs = 0;
    int64_t frees = 0;
    vos::own::bstats(&inUse, nullptr, nullptr, &allocs, &frees);
    *out = VosMemStats{
        .shmStartAddr = static_cast<uint32_t>(mStats.shmStart),
        .shmEndAddr = static_cast<uint32_t>(mStats.shmEnd),
        .shmBytesUsable = mStats.shmSize,
        .shmBytesInUse = static_cast<uint32_t>(inUse),
        .shmNumAllocs = static_cast<uint32_t>(allocs),
        .shmNumFrees = static_cast<uint32_t>(frees),
        .heapBytesInUse = mStats.heapBytesInUse.load(std::memory_order_relaxed),
        .heapNumAllocs = mStats.heapNumAllocs.load(std::memory_order_relaxed),
        .heapNumFrees = mStats.heapNumFrees.load(std::memory_order_relaxed),
    };
}

int vosMem_dumpMemStats(void) {
    VosMemStats stats;
    vosMem_getStats(&stats);
    const auto number = [](uint32_t value) { return static_cast<int>(value); };
    const uint32_t shmFree = stats.shmBytesUsable - stats.shmBytesInUse;
    printf("Total MDM Shared Memory Region : %dKB\n", number((stats.shmEndAddr - kRegionBase) / 1024));
    printf("Shared Memory Usable           : %06dKB(%u)\n", number(stats.shmBytesUsable / 1024), stats.shmBytesUsable);
    printf("Shared Memory in-use           : %06dKB(%u)\n", number(stats.shmBytesInUse / 1024), stats.shmBytesInUse);
    printf("Shared Memory free             : %06dKB(%u)\n", number(shmFree / 1024), shmFree);
    printf("Shared Memory allocs           : %06d\n", number(stats.shmNumAllocs));
    printf("Shared Memory frees            : %06d\n", number(stats.shmNumFrees));
    printf("Shared Memory alloc/free delta : %06d\n", number(stats.shmNumAllocs - stats.shmNumFrees));
    printf("\n");
    printf("Heap bytes in-use     : %06d\n", number(stats.heapBytesInUse));
    printf("Heap allocs           : %06d\n", number(stats.heapNumAllocs));
    printf("Heap frees            : %06d\n", number(stats.heapNumFrees));
    return printf("Heap alloc/free delta : %06d\n", number(stats.heapNumAllocs - stats.heapNumFrees));
}

VOS_OPEN_NAME void *vomMem_mapFile2Mem(const char *path, uint32_t size) {
    if (path == nullptr) {
        return nullptr;
    }
    const vos::UniqueFd fd{open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600)};
    if (!fd) {
        return nullptr;
    }
    [[maybe_unused]] const int ignored = ftruncate(fd.get(), size);
    // Callers compare the result of a failed mapping with MAP_FAILED, not with NULL.
    return mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), 0);
}
