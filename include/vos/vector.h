/** @file
 *  Growable vector of pointers. A slot that holds NULL counts as empty.
 *
 *  The vector owns its record and its slots, never what they point to. It belongs to one thread at a time.
 */
#ifndef VOS_VECTOR_H
#define VOS_VECTOR_H

#include "vos/ret.h"

/** A vector; callers may read it. */
typedef struct {
    uint32_t count;    /**< one past the highest slot set and not trimmed since */
    uint32_t capacity; /**< slots allocated, at least 1 */
    void **slots;      /**< the slots */
} UtilVector;
VOS_STATIC_ASSERT(sizeof(UtilVector) == 16, "callers read vectors");
VOS_STATIC_ASSERT(offsetof(UtilVector, count) == 0, "callers read vectors");
VOS_STATIC_ASSERT(offsetof(UtilVector, capacity) == 4, "callers read vectors");
VOS_STATIC_ASSERT(offsetof(UtilVector, slots) == 8, "callers read vectors");

VOS_BEGIN_DECLS

/** A new vector of empty slots, released with UTIL_VectorFree(); NULL when memory is short.
 *
 *  @param capacity  slots to allocate; 0 counts as 1
 */
UtilVector *UTIL_VectorInit(uint32_t capacity);

/** Frees a vector with its slots; NULL does nothing. */
void UTIL_VectorFree(UtilVector *vec);

/** Frees the record alone, for a caller that has taken over the slots. */
void UTIL_VectorOnlyWapperFree(UtilVector *vec);

/** Frees an array of slots alone. */
void UTIL_VectorOnlyIndexFree(void *p);

/** A vector of its own with the same slots, count and capacity; what they point to is shared. NULL for NULL and when
 *  memory is short. */
UtilVector *UTIL_VectorCopy(const UtilVector *vec);

/** Moves a block of the memory manager into a new one and frees it.
 *
 *  @param oldSize  bytes of @p old
 *  @param newSize  bytes of the new block; what lies behind the old contents is not initialised
 *  @return the new block; NULL when memory is short, the old block stays then
 */
void *UTIL_VectorRealloc(void *old, uint32_t oldSize, uint32_t newSize);

/** Doubles the capacity until slot @p index exists; new slots are empty.
 *
 *  @return VOS_RET_OK; VOS_RET_ERROR when memory is short or the slots would take 4 GiB, nothing has changed then;
 *          VOS_RET_BAD_ARG for NULL
 */
VosRet UTIL_VectorEnsure(UtilVector *vec, uint32_t index);

/** The first empty slot below count, else count: VOS_RET_OK, or VOS_RET_BAD_ARG for NULL. */
VosRet UTIL_VectorEmptySlot(const UtilVector *vec, uint32_t *indexOut);

/** Puts @p value into the first empty slot, growing as needed. NULL leaves the slot empty, yet counts it.
 *
 *  @return VOS_RET_OK; VOS_RET_ERROR when the vector cannot grow and for NULL
 */
VosRet UTIL_VectorSet(UtilVector *vec, void *value);

/** Puts @p value into slot @p index, growing as needed: VOS_RET_OK; VOS_RET_BAD_ARG when the vector cannot grow and for
 *  NULL. */
VosRet UTIL_VectorSetIndex(UtilVector *vec, uint32_t index, void *value);

/** Empties slot @p index. When it was the last one counted, count goes back over all empty slots before it.
 *
 *  @return VOS_RET_OK; VOS_RET_ERROR for a slot that does not exist; VOS_RET_BAD_ARG for NULL
 */
VosRet UTIL_VectorUnset(UtilVector *vec, uint32_t index);

/** What slot @p index holds. The vector grows to have that slot, so a look far beyond the end allocates. NULL when the
 *  slot is empty, when the vector cannot grow and for NULL. */
void *UTIL_VectorLookupIndex(UtilVector *vec, uint32_t index);

/** Number of slots in use; 0 for NULL. */
uint32_t UTIL_VectorCount(const UtilVector *vec);

VOS_END_DECLS

#endif
