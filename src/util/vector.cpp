// Growable vector of pointers.
#include "vos/vector.h"

#include <algorithm>
#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"

namespace {

void **countedEnd(const UtilVector &vec) {
    return vec.slots + vec.count;
}

}  // namespace

UtilVector *UTIL_VectorInit(uint32_t capacity) {
    const uint32_t slotCount = std::max(capacity, 1u);
    auto vec = vos::allocZeroed<UtilVector>();
    auto slots = vos::allocZeroed<void *>(uint64_t{slotCount} * sizeof(void *));
    if (!vec || !slots) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return nullptr;
    }
    *vec = {0, slotCount, slots.release()};
    return vec.release();
}

void UTIL_VectorFree(UtilVector *vec) {
    if (vec != nullptr) {
        VOS_FREE(vec->slots);
        VOS_FREE(vec);
    }
}

void UTIL_VectorOnlyWapperFree(UtilVector *vec) {
    VOS_FREE(vec);
}

void UTIL_VectorOnlyIndexFree(void *p) {
    VOS_FREE(p);
}

UtilVector *UTIL_VectorCopy(const UtilVector *vec) {
    UtilVector *copy = vec == nullptr ? nullptr : UTIL_VectorInit(vec->capacity);
    if (copy != nullptr) {
        memcpy(copy->slots, vec->slots, size_t{vec->capacity} * sizeof(void *));
        copy->count = vec->count;
    }
    return copy;
}

void *UTIL_VectorRealloc(void *old, uint32_t oldSize, uint32_t newSize) {
    void *block = VOS_MALLOC_FLAGS(newSize, 0);
    if (block == nullptr) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
    } else if (old != nullptr) {
        memcpy(block, old, std::min(oldSize, newSize));
        VOS_FREE(old);
    }
    return block;
}

VosRet UTIL_VectorEnsure(UtilVector *vec, uint32_t index) {
    if (vec == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    uint64_t capacity = std::max(vec->capacity, 1u);
    while (capacity <= index) {
        capacity *= 2;
    }
    const uint64_t bytes = capacity * sizeof(void *);
    if (bytes > UINT32_MAX) {
        return VOS_RET_ERROR;
    }
    if (capacity == vec->capacity) {
        return VOS_RET_OK;
    }
    const uint32_t oldBytes = vec->capacity * static_cast<uint32_t>(sizeof(void *));
    void *slots = UTIL_VectorRealloc(vec->slots, oldBytes, static_cast<uint32_t>(bytes));
    if (slots == nullptr) {
        return VOS_RET_ERROR;
    }
    memset(static_cast<uint8_t *>(slots) + oldBytes, 0, bytes - oldBytes);
    vec->slots = static_cast<void **>(slots);
    vec->capacity = static_cast<uint32_t>(capacity);
    return VOS_RET_OK;
}

VosRet UTIL_VectorEmptySlot(const UtilVector *vec, uint32_t *indexOut) {
    if (vec == nullptr || indexOut == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    *indexOut = static_cast<uint32_t>(std::find(vec->slots, countedEnd(*vec), nullptr) - vec->slots);
    return VOS_RET_OK;
}

VosRet UTIL_VectorSet(UtilVector *vec, void *value) {
    uint32_t index = 0;
    const bool done =
        UTIL_VectorEmptySlot(vec, &index) == VOS_RET_OK && UTIL_VectorSetIndex(vec, index, value) == VOS_RET_OK;
    return done ? VOS_RET_OK : VOS_RET_ERROR;
}

VosRet UTIL_VectorSetIndex(UtilVector *vec, uint32_t index, void *value) {
    if (UTIL_VectorEnsure(vec, index) != VOS_RET_OK) {
        return VOS_RET_BAD_ARG;
    }
    vec->slots[index] = value;
    vec->count = std::max(vec->count, index + 1);
    return VOS_RET_OK;
}

VosRet UTIL_VectorUnset(UtilVector *vec, uint32_t index) {
    if (vec == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    if (index >= vec->capacity) {
        return VOS_RET_ERROR;
    }
    vec->slots[index] = nullptr;
    if (index + 1 == vec->count) {
        while (vec->count > 0 && vec->slots[vec->count - 1] == nullptr) {
            vec->count--;
        }
    }
    return VOS_RET_OK;
}

void *UTIL_VectorLookupIndex(UtilVector *vec, uint32_t index) {
    return UTIL_VectorEnsure(vec, index) == VOS_RET_OK ? vec->slots[index] : nullptr;
}

uint32_t UTIL_VectorCount(const UtilVector *vec) {
    return vec == nullptr ? 0 : vec->count - static_cast<uint32_t>(std::count(vec->slots, countedEnd(*vec), nullptr));
}
