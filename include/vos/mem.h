/** @file
 *  Memory manager: every allocation of the library and of its users.
 *
 *  A block carries a 12-byte header in front of the user area (flags, size, complement of the size), the user area
 *  padded to a multiple of 4 with 0xFD, and 8 guard bytes of 0xFD. Fresh memory is filled with zero when asked for,
 *  else with 0x95 in blocks up to 65535 bytes in all and left as it comes in larger ones, freed memory with 0x97. A
 *  block whose header or guard is damaged is reported through the diagnostic channel when it is freed, and leaked on
 *  purpose; the process goes on.
 *
 *  Blocks come from the process heap or, with ALLOC_SHARED_MEM, from a pool in shared memory that several processes map
 *  at one address (vos/pool.h). Heap blocks may be allocated and freed by any thread. The pool takes no lock: processes
 *  and threads that use it at once serialise themselves (vosSem_lock).
 */
#ifndef VOS_MEM_H
#define VOS_MEM_H

#include "vos/base.h"

/** Allocation flags; they may be combined. */
typedef uint32_t VosMemFlags;
enum {
    ALLOC_ZEROIZE = 1,   /**< fill the block with zero, whatever its size */
    ALLOC_SHARED_MEM = 2 /**< take the block from the shared pool */
};

/** Allocates with the caller's function name and line. NULL when memory is short or the size is beyond 32 bits,
 *  whatever its type; the caller frees with VOS_FREE. */
#define VOS_MALLOC_FLAGS(size, flags) vosMem_allocOf((size), (flags), __func__, VOS_CAST(uint32_t, __LINE__))
/** Frees with the caller's function name and line. */
#define VOS_FREE(buf) vosMem_free((buf), __func__, __LINE__)

/** Figures of heap and pool. The pool's counters cover every process that shares it, the heap's this process. */
typedef struct {
    uint32_t shmStartAddr;   /**< pool start, low 32 bits */
    uint32_t shmEndAddr;     /**< pool end, low 32 bits */
    uint32_t shmBytesUsable; /**< pool size */
    uint32_t shmBytesInUse;  /**< bytes taken from the pool, headers included */
    uint32_t shmNumAllocs;   /**< successful allocations from the pool */
    uint32_t shmNumFrees;    /**< releases to the pool */
    uint32_t heapBytesInUse; /**< requested bytes of this process's live heap blocks */
    uint32_t heapNumAllocs;  /**< heap allocations of this process */
    uint32_t heapNumFrees;   /**< heap frees of this process */
} VosMemStats;
VOS_STATIC_ASSERT(offsetof(VosMemStats, shmStartAddr) == 0, "nine 32-bit counters");
VOS_STATIC_ASSERT(offsetof(VosMemStats, shmEndAddr) == 4, "nine 32-bit counters");
VOS_STATIC_ASSERT(offsetof(VosMemStats, shmBytesUsable) == 8, "nine 32-bit counters");
VOS_STATIC_ASSERT(offsetof(VosMemStats, shmBytesInUse) == 12, "nine 32-bit counters");
VOS_STATIC_ASSERT(offsetof(VosMemStats, shmNumAllocs) == 16, "nine 32-bit counters");
VOS_STATIC_ASSERT(offsetof(VosMemStats, shmNumFrees) == 20, "nine 32-bit counters");
VOS_STATIC_ASSERT(offsetof(VosMemStats, heapBytesInUse) == 24, "nine 32-bit counters");
VOS_STATIC_ASSERT(offsetof(VosMemStats, heapNumAllocs) == 28, "nine 32-bit counters");
VOS_STATIC_ASSERT(offsetof(VosMemStats, heapNumFrees) == 32, "nine 32-bit counters");
VOS_STATIC_ASSERT(sizeof(VosMemStats) == 36, "nine 32-bit counters");

VOS_BEGIN_DECLS

/** Allocates a block.
 *
 *  @param size   bytes for the caller; 0 is allowed
 *  @param flags  ALLOC_ZEROIZE, ALLOC_SHARED_MEM; other bits are stored and ignored
 *  @param func   caller's function name, not stored
 *  @param line   caller's line, not stored
 *  @return the user area, owned by the caller; NULL when heap or pool is exhausted or the size with header, padding
 *          and guard does not fit in 32 bits
 */
void *vosMem_alloc(uint32_t size, uint32_t flags, const char *func, uint32_t line);

/** vosMem_alloc of a size that may be wider: one that does not fit is no smaller one. */
static inline void *vosMem_allocOf(uint64_t size, uint32_t flags, const char *func, uint32_t line) {
    return vosMem_alloc(size > UINT32_MAX ? UINT32_MAX : VOS_CAST(uint32_t, size), flags, func, line);
}

/** Frees a block; NULL does nothing. A block with a damaged header, padding or guard is reported and left allocated.
 *
 *  @param func  caller's function name, printed in a report
 *  @param line  caller's line, printed in a report
 */
void vosMem_free(void *buf, const char *func, int line);

/** Enlarges a block; never shrinks it.
 *
 *  @return @p buf itself when it is large enough; a larger block with the old contents, the old block freed; NULL when
 *          memory is short (the old block stays) or the header is damaged; NULL for a NULL @p buf (nothing is
 *          allocated) and for size 0 (the block is freed)
 */
void *vosMem_realloc(void *buf, uint32_t size, const char *func, uint32_t line);

/** Copies a string to the heap; NULL for NULL or when memory is short. The caller frees it with vosMem_free. */
char *vosMem_strdup(const char *s, const char *func, uint32_t line);

/** vosMem_strdup with allocation flags. */
char *vosMem_strdupFlags(const char *s, uint32_t flags, const char *func, uint32_t line);

/** Copies at most @p maxLen characters of a string to the heap and terminates them; NULL for NULL or short memory.
 *  Reads up to @p maxLen + 1 characters of @p s. The caller frees it with vosMem_free. */
char *vosMem_strndup(const char *s, uint32_t maxLen, const char *func, uint32_t line);

/** vosMem_strndup with allocation flags. */
char *vosMem_strndupFlags(const char *s, uint32_t maxLen, uint32_t flags, const char *func, uint32_t line);

/** Length of a string, at most @p maxLen.
 *
 *  @param terminated  may be NULL; receives whether the character at the returned position is the terminator. To tell
 *                     that, the character just behind the counted range is read.
 *  @return 0 for a NULL string
 */
uint32_t vosMem_strnlen(const char *s, uint32_t maxLen, bool *terminated);

/** Whether @p buf looks like a block of this manager: sound header and flags below 3. A block made with both flags
 *  counts as foreign. @p buf is NULL or has 12 readable bytes in front of it. */
bool vosMem_isAllocedMem(const void *buf);

/** Creates the shared pool in a freshly attached region. Called by the first process.
 *
 *  @param addr  start of the region, attached at the same address in every process; NULL does nothing
 *  @param size  its bytes; too small a region is ignored
 */
void vosMem_initSharedMem(void *addr, uint32_t size);

/** Joins the pool that another process created in the same region; NULL does nothing. */
void vosMem_initSharedMemPointer(void *addr, uint32_t size);

/** Forgets the pool in this process; the region is not touched. */
void vosMem_cleanup(void);

/** Fills @p out with the current figures; NULL does nothing. */
void vosMem_getStats(VosMemStats *out);

/** Prints the figures to standard output; the result of the last printf. */
int vosMem_dumpMemStats(void);

/** Maps a file of exactly @p size bytes, shared, readable and writable; created with mode 0600 where missing.
 *
 *  @return the mapping, released with munmap; NULL when the file cannot be opened; MAP_FAILED (all bits set) when the
 *          mapping fails
 */
void *vomMem_mapFile2Mem(const char *path, uint32_t size);

/** malloc of the operating-system layer. */
void *oal_malloc(uint32_t size);
/** free of the operating-system layer. */
void oal_free(void *p);

VOS_END_DECLS

#endif
