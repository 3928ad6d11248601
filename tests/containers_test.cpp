// Lists, vector and hash map: random sequences against plain models, and what a model does not show.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/effort.h"
#include "support/shrink.h"
#include "support/syslog_catcher.h"
#include "vos/hashmap.h"
#include "vos/list.h"
#include "vos/mem.h"
#include "vos/vector.h"

using testing::ElementsAre;

namespace {

uint32_t heapBytes() {
    VosMemStats stats;
    vosMem_getStats(&stats);
    return stats.heapBytesInUse;
}

// ---- random sequences ----

struct Op {
    unsigned kind;
    unsigned a;
    unsigned b;
};

/** Runs sequences on a Pair: kKinds names its operations, step() does one on both sides and compares them. */
template <typename Pair>
void followsItsModel() {
    const auto agree = [](const std::vector<Op> &ops) {
        Pair pair;
        return std::all_of(ops.begin(), ops.end(), [&](const Op &op) { return pair.step(op); });
    };
    const uint32_t before = heapBytes();
    for (unsigned seed = 1; seed <= vostest::rounds(300, 6); seed++) {
        std::mt19937 random{seed};
        std::vector<Op> ops(60);
        for (Op &op : ops) {
            op = {static_cast<unsigned>(random() % std::size(Pair::kKinds)), static_cast<unsigned>(random() % 8),
                  static_cast<unsigned>(random() % 8)};
        }
        if (!agree(ops)) {
            std::string text;
            for (const Op &op : vostest::shrink(ops, agree)) {
                text +=
                    std::string{Pair::kKinds[op.kind]} + "(" + std::to_string(op.a) + "," + std::to_string(op.b) + ") ";
            }
            FAIL() << "seed " << seed << ", shortest sequence: " << text;
        }
        ASSERT_EQ(heapBytes(), before) << "seed " << seed;
    }
}

/** A list of either family beside a vector of its members. */
template <typename Node, typename ListType>
struct ListPair {
    bool agrees() const {
        Node *node = list.head;
        for (Node *member : members) {
            if (node != member) {
                return false;
            }
            node = node->next;
        }
        return members.empty() ? list.head == nullptr : list.tail == members.back();
    }
    bool isMember(const Node *node) const { return std::find(members.begin(), members.end(), node) != members.end(); }
    bool add(Node *node, VosRet (*link)(Node *, ListType *), bool atEnd) {
        if (isMember(node)) {
            return true;
        }
        node->next = nullptr;
        members.insert(atEnd ? members.end() : members.begin(), node);
        return link(node, &list) == VOS_RET_OK && agrees();
    }
    // A new tail keeps its link, and a tail stays when nodes are taken from the front.
    bool takeEnd(Node *(*unlink)(ListType *)) {
        Node *expected = members.empty() ? nullptr : members.back();
        std::erase(members, expected);
        return unlink(&list) == expected && agrees() && (members.empty() || list.tail->next == expected);
    }
    bool takeFront(Node *(*unlink)(ListType *)) {
        Node *expected = members.empty() ? nullptr : members.front();
        const Node *tail = list.tail;
        std::erase(members, expected);
        return unlink(&list) == expected && agrees() && list.tail == tail;
    }

    Node nodes[8] = {};
    ListType list{};
    std::vector<Node *> members;
};

struct EntryPair : ListPair<ListEntry, List> {
    static constexpr const char *kKinds[] = {"append", "prepend", "deleteTail", "delete", "merge", "compare"};

    bool step(const Op &op) {
        ListEntry *entry = &nodes[op.a];
        ListEntry *other = &nodes[op.b];
        entry->data = texts[op.a % 4];
        switch (op.kind) {
            case 0:
                return add(entry, list_append, true);
            case 1:
                return add(entry, list_prepend, false);
            case 2:
                return takeEnd(list_deleteTail);
            case 3: {
                const bool isDeleted = isMember(entry) || members.size() == 1;
                std::erase(members, members.size() == 1 ? members[0] : entry);
                return list_delete(entry, &list) == (isDeleted ? entry : nullptr) && agrees();
            }
            case 4: {
                if (entry == other || isMember(entry) || isMember(other)) {
                    return true;
                }
                List source{};
                list_prepend(other, &source);
                list_prepend(entry, &source);
                members.insert(members.end(), {entry, other});
                return list_merge(&source, &list) == VOS_RET_OK && source.head == entry && agrees();
            }
            default:
                const auto equal = [&](const ListEntry *each) { return each->data == texts[op.a % 4]; };
                const bool expected = std::any_of(members.begin(), members.end(), equal);
                return list_compareWithString(texts[op.a % 4], &list) == (expected ? VOS_RET_OK : VOS_RET_NOT_IN_LIST);
        }
    }

    char texts[4][2] = {"a", "b", "c", "d"};
};

struct NodePair : ListPair<ListNode, NodeList> {
    static constexpr const char *kKinds[] = {"addEnd", "addFront", "removeFront", "removeEnd",
                                             "find",   "remove",   "sort"};

    bool step(const Op &op) {
        ListNode *node = &nodes[op.a];
        if (!isMember(node)) {
            node->data = numbers + op.b % 4;
        }
        switch (op.kind) {
            case 0:
                return add(node, addEnd, true);
            case 1:
                return add(node, addFront, false);
            case 2:
                return takeFront(removeFront);
            case 3:
                if (!takeEnd(removeEnd)) {
                    return false;
                }
                if (list.head != nullptr) {
                    list.tail->next = nullptr;  // as callers do, for removeFront() follows it
                }
                return true;
            case 4:
            case 5:
                return find(numbers + op.a % 4, op.b % 2 == 1, op.kind == 5, op.b < 4);
            default:
                std::vector<int32_t> expected = values();
                std::sort(expected.begin(), expected.end());
                sortIntList(&list);
                return values() == expected && agrees();
        }
    }
    bool find(const int32_t *key, bool isString, bool removes, bool asFound) {
        const auto found =
            std::find_if(members.begin(), members.end(), [&](const ListNode *each) { return each->data == key; });
        ListNode *const expected = found == members.end() ? nullptr : *found;
        ListNode *const before = found == members.begin() || expected == nullptr ? expected : *(found - 1);
        ListNode *previous = nodes;
        ListNode *node = nodes;
        if (findEntry(&list, key, isString, &previous, &node) != (expected != nullptr) || node != expected ||
            previous != before) {
            return false;
        }
        if (!removes) {
            return true;
        }
        std::erase(members, expected);
        return (asFound && expected != nullptr ? removeFoundEntry(node, previous, &list)
                                               : removeEntry(&list, key, isString)) == expected &&
               agrees();
    }
    std::vector<int32_t> values() const {
        std::vector<int32_t> result;
        for (const ListNode *node : members) {
            result.push_back(*static_cast<const int32_t *>(node->data));
        }
        return result;
    }

    // Each number is a text of its own as well: "1", "2", "3" and the empty one.
    int32_t numbers[4] = {-0x7F000000 + 0x31, 0x32, 0x33, 0x3400};
};

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

template <uint32_t kBuckets>
struct MapPair {
    static constexpr const char *kKinds[] = {"insert", "insertPart", "search", "delete", "list"};
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
            case 0:
                rows.insert(rows.begin(), {key, value});
                return hashmap_insert(map, key, -1, value) == VOS_RET_OK;
            case 1: {
                const std::string part{key, std::min<size_t>(strlen(key), 8)};
                rows.insert(rows.begin(), {part, value});
                return hashmap_insert(map, key, static_cast<int32_t>(part.size()), value) == VOS_RET_OK;
            }
            case 2:
                return hashmap_search(map, key) == (newest == rows.end() ? nullptr : newest->value);
            case 3: {
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

TEST(Containers, FollowTheirModels) {
    followsItsModel<EntryPair>();
    followsItsModel<NodePair>();
    followsItsModel<VectorPair>();
    followsItsModel<MapPair<3>>();
    followsItsModel<MapPair<4>>();
}

// ---- what a model does not show ----

TEST(Lists, RefuseWhatIsMissing) {
    vostest::Diagnostics diagnostics;
    List list{};
    List empty{};
    NodeList nodeList{};
    ListEntry entry{};
    for (const VosRet ret : {list_append(nullptr, &list), list_prepend(nullptr, &list), list_merge(nullptr, &list),
                             list_merge(&empty, &list), addEnd(nullptr, &nodeList), addFront(nullptr, &nodeList)}) {
        EXPECT_EQ(ret, VOS_RET_BAD_ARG);
    }
    EXPECT_EQ(diagnostics.takeBodies(), std::vector<std::string>(6, "Entry is NULL, do nothing. \n"));
    EXPECT_EQ(list_compareWithString("a", &list), VOS_RET_NOT_IN_LIST);
    list_append(&entry, &list);
    EXPECT_EQ(list_merge(&list, &list), VOS_RET_BAD_ARG);
    EXPECT_EQ(list_delete(nullptr, &list), nullptr);
    EXPECT_EQ(list.head, nullptr);  // a list of one is emptied by any argument
}

TEST(Lists, PrintTheirNodes) {
    vostest::Diagnostics diagnostics;
    int32_t number = 0x3731;
    ListNode nodes[3] = {{nullptr, nullptr, &number}, {}, {nullptr, nullptr, &number}};
    NodeList list{};
    sortIntList(&list);
    addEnd(&nodes[0], &list);
    sortIntList(&list);
    addEnd(&nodes[1], &list);
    addEnd(&nodes[2], &list);
    sortIntList(&list);
    printList(&list, 0);
    printList(&list, 1);
    const auto pointer = [](const void *p) { return testing::PrintToString(p); };
    const std::string header =
        "\nThe List: list->head " + pointer(list.head) + ", list->tail " + pointer(list.tail) + "\n";
    EXPECT_THAT(diagnostics.takeBodies(),
                ElementsAre("smallestPtr is NULL or ptr is NULL\n", header,
                            "ptr " + pointer(&nodes[0]) + ", " + std::to_string(number) + "\n", header, "17\n"));
}

TEST(Vector, KeepsItsSlotsWhenItCannotGrow) {
    EXPECT_EQ(UTIL_VectorSet(nullptr, nullptr), VOS_RET_ERROR);
    EXPECT_EQ(UTIL_VectorSetIndex(nullptr, 0, nullptr), VOS_RET_BAD_ARG);
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

TEST(HashString, TakesSeventeenTimesTheHashOfEveryByte) {
    EXPECT_EQ(hash_string("ab", -1), 1747u);
    EXPECT_EQ(hash_string(nullptr, 5), 0u);
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

TEST(HashMaps, LeaveNothingWhenTheyCannotBeMade) {
    vostest::Diagnostics diagnostics;
    const uint32_t before = heapBytes();
    HashMap *map = nullptr;
    EXPECT_EQ(hashmap_create(&map, 0), VOS_RET_BAD_ARG);
    EXPECT_EQ(hashmap_create(&map, 0xFFFFFFFF), VOS_RET_NO_RESOURCE);
    EXPECT_EQ(hashmap_insert(map, nullptr, -1, nullptr), VOS_RET_BAD_ARG);
    EXPECT_THAT(diagnostics.takeBodies(), ElementsAre("Invalid Param!"));
    EXPECT_EQ(map, nullptr);
    EXPECT_EQ(heapBytes(), before);
}

}  // namespace
