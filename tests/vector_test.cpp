// The vector: random sequences against a plain model, and growth that must fail.
#include "vos/vector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "support/model.h"

namespace {

using vostest::Op;

struct VectorPair {
    static constexpr const char *kKinds[] = {"set", "setIndex", "unset", "lookUp", "copy"};

    ~VectorPair() { UTIL_VectorFree(vec); }
    bool step(const Op &op) {
        void *value = op.b == 0 ? nullptr : &objects[op.b];
        const size_t index = op.a * op.a;  // now and then far behind the others
        const auto at = static_cast<uint32_t>(index);
        switch (op.kind) {
            case 0: {
                const auto counted = slots.begin() + static_cast<ptrdiff_t>(count);
                put(static_cast<size_t>(std::find(slots.begin(), counted, nullptr) - slots.begin()), value);
                return UTIL_VectorSet(vec, value) == VOS_RET_OK && agrees();
            }
            case 1:
                put(index, value);
                return UTIL_VectorSetIndex(vec, at, value) == VOS_RET_OK && agrees();
            case 2: {
                const bool exists = index < slots.size();
                if (exists) {
                    slots[index] = nullptr;
                    for (const bool last = index + 1 == count; last && count > 0 && slots[count - 1] == nullptr;) {
                        count--;
                    }
                }
                return UTIL_VectorUnset(vec, at) == (exists ? VOS_RET_OK : VOS_RET_ERROR) && agrees();
            }
            case 3:
                grow(index);
                return UTIL_VectorLookupIndex(vec, at) == slots[index] && agrees();
            default:
                UTIL_VectorFree(std::exchange(vec, UTIL_VectorCopy(vec)));
                return agrees();
        }
    }
    void grow(size_t index) {
        while (slots.size() <= index) {
            slots.resize(slots.size() * 2);
        }
    }
    void put(size_t index, void *value) {
        grow(index);
        slots[index] = value;
        count = std::max(count, index + 1);
    }
    bool agrees() const {
        const auto used = slots.size() - static_cast<size_t>(std::count(slots.begin(), slots.end(), nullptr));
        return vec->count == count && vec->capacity == slots.size() && UTIL_VectorCount(vec) == used &&
               std::equal(slots.begin(), slots.end(), vec->slots);
    }

    char objects[8];
    UtilVector *vec = UTIL_VectorInit(0);
    std::vector<void *> slots{nullptr};
    size_t count = 0;
};

TEST(Vector, FollowsItsModel) {
    vostest::followsItsModel<VectorPair>();
}

TEST(Vector, KeepsItsSlotsWhenItCannotGrow) {
    UtilVector *vec = UTIL_VectorInit(3);
    UTIL_VectorSet(vec, &vec);
    for (const uint32_t index : {0x20000000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(index);
        EXPECT_EQ(UTIL_VectorEnsure(vec, index), VOS_RET_ERROR);
        EXPECT_EQ(UTIL_VectorSetIndex(vec, index, vec), VOS_RET_BAD_ARG);
        EXPECT_EQ(UTIL_VectorLookupIndex(vec, index), nullptr);
        EXPECT_EQ(vec->capacity, 3u);
        EXPECT_EQ(vec->slots[0], &vec);
    }
    EXPECT_EQ(UTIL_VectorInit(0x20000000), nullptr);
    void *slots = UTIL_VectorRealloc(vec->slots, 3 * sizeof(void *), sizeof(void *));
    EXPECT_EQ(*static_cast<void **>(slots), &vec);
    UTIL_VectorOnlyIndexFree(slots);
    UTIL_VectorOnlyWapperFree(vec);
}

}  // namespace
