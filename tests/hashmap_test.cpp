// The hash map: random sequences against a plain model, the hash itself, and maps that cannot be made.
#include "vos/hashmap.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "support/model.h"
#include "support/syslog_catcher.h"

namespace {

using vostest::Op;

template <uint32_t kBuckets>
struct MapPair {
    static constexpr const char *kKinds[] = {"insert", "search", "delete", "list"};
    static constexpr const char *kKeys[] = {"",         "a",          "ab",         "\xff\x80",
                                            "hub-daem", "hub-daemon", "hub-daemom", "hub-daemon-long"};

    MapPair() { hashmap_create(&map, kBuckets); }
    ~MapPair() {
        freed = 0;
        hashmap_destroy(map, [](void *) { freed++; });
        EXPECT_EQ(freed, rows.size());
    }
    bool step(const Op &op) {
        const char *key = kKeys[op.a];
        void *value = &objects[op.b];
        const auto newest = std::find_if(rows.begin(), rows.end(), [&](const Row &row) { return row.key == key; });
        switch (op.kind) {
            case 0: {
                const std::string part{key, std::min<size_t>(strlen(key), op.b == 7 ? 8 : op.b)};
                rows.insert(rows.begin(), {op.b == 6 ? key : part, value});
                return hashmap_insert(map, key, op.b == 6 ? -1 : static_cast<int32_t>(part.size()), value) ==
                       VOS_RET_OK;
            }
            case 1:
                return hashmap_search(map, key) == (newest == rows.end() ? nullptr : newest->value);
            case 2: {
                freed = 0;
                const bool present = newest != rows.end();
                const VosRet ret = hashmap_delete(map, key, [](void *) { freed++; });
                if (present) {
                    rows.erase(newest);
                }
                return ret == (present ? VOS_RET_OK : VOS_RET_NOT_IN_LIST) && freed == (present ? 1u : 0u);
            }
            default:
                std::string expected = "old";
                for (unsigned bucket = 0; bucket < std::min(op.a, kBuckets); bucket++) {
                    for (const Row &row : rows) {
                        if (hash_string(row.key.c_str(), -1) % kBuckets == bucket) {
                            expected += (bucket == 0 ? "" : ",") + row.key;
                        }
                    }
                }
                char text[64] = "old";
                return hashmap_getAllKey(map, text, op.a, 8 + 8 * op.b) == VOS_RET_OK &&
                       text == expected.substr(0, 7 + 8 * op.b);
        }
    }

    struct Row {
        std::string key;
        void *value;
    };
    static inline size_t freed;
    char objects[8];
    HashMap *map = nullptr;
    std::vector<Row> rows;  // newest first
};

TEST(HashMaps, FollowTheirModel) {
    vostest::followsItsModel<MapPair<3>>();
    vostest::followsItsModel<MapPair<4>>();
}

TEST(HashString, TakesSeventeenTimesTheHashOfEveryByte) {
    EXPECT_EQ(hash_string("ab", -1), 1747u);
    std::mt19937 random{7};
    std::string key;
    for (int length = 0; length < 40; length++) {
        uint32_t expected = 0;
        for (const char byte : key) {
            expected = expected * 17 + static_cast<uint8_t>(byte);
        }
        EXPECT_EQ(hash_string(key.c_str(), length), expected) << length;
        key.push_back(static_cast<char>(random()));
    }
}

TEST(HashMaps, CompareWithinTheKeys) {
    // A copy that ends where its page ends.
    char *pages = static_cast<char *>(mmap(nullptr, 8192, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(pages + 4096, 4096, PROT_NONE);
    ListEntry key{nullptr, strcpy(pages + 4096 - sizeof "hub-daem", "hub-daem")};
    ListEntry value{nullptr, pages};
    ListEntry *chains[] = {&key, &value};
    const HashMap map{1, &chains[0], &chains[1]};
    EXPECT_EQ(hashmap_search(&map, "hub-daem"), pages);
    EXPECT_EQ(hashmap_search(&map, "hub-daemon-long"), nullptr);
    munmap(pages, 8192);
}

TEST(HashMaps, LeaveNothingWhenTheyCannotBeMade) {
    vostest::Diagnostics diagnostics;
    const uint32_t before = vostest::heapBytes();
    HashMap *map = nullptr;
    EXPECT_EQ(hashmap_create(&map, 0), VOS_RET_BAD_ARG);
    EXPECT_EQ(hashmap_create(&map, 0xFFFFFFFF), VOS_RET_NO_RESOURCE);
    EXPECT_EQ(diagnostics.takeBodies(), std::vector<std::string>{"VOS_MALLOC_FLAGS failed"});
    EXPECT_EQ(map, nullptr);
    EXPECT_EQ(vostest::heapBytes(), before);
}

}  // namespace
