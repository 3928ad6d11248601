// Both families of lists: random sequences against plain models, and what a model does not show.
#include "vos/list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "support/model.h"
#include "support/syslog_catcher.h"

using testing::ElementsAre;

namespace {

using vostest::Op;

/** A list of either family beside a vector of its members. */
template <typename Node, typename ListType>
struct ListPair {
    bool agrees() const {
        Node *node = list.head;
        const auto isNext = [&](const Node *member) { return std::exchange(node, member->next) == member; };
        return std::ranges::all_of(members, isNext) &&
               (members.empty() ? list.head == nullptr : list.tail == members.back());
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
    bool take(Node *(*unlink)(ListType *), bool atEnd) {
        Node *expected = members.empty() ? nullptr : atEnd ? members.back() : members.front();
        const Node *tail = list.tail;
        std::erase(members, expected);
        return unlink(&list) == expected && agrees() &&
               (atEnd ? members.empty() || list.tail->next == expected : list.tail == tail);
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
                return take(list_deleteTail, true);
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
                return take(removeFront, false);
            case 3:
                if (const bool agreed = take(removeEnd, true); list.head == nullptr || !agreed) {
                    return agreed;
                }
                list.tail->next = nullptr;  // as callers do, for removeFront() follows it
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

TEST(Lists, FollowTheirModels) {
    vostest::followsItsModel<EntryPair>();
    vostest::followsItsModel<NodePair>();
}

TEST(Lists, RefuseWhatIsMissing) {
    vostest::Diagnostics diagnostics;
    List list{};
    List empty{};
    ListEntry entry{};
    for (const VosRet ret : {list_append(nullptr, &list), list_merge(&empty, &list), list_merge(&empty, &empty)}) {
        EXPECT_EQ(ret, VOS_RET_BAD_ARG);
    }
    EXPECT_EQ(diagnostics.takeBodies(), std::vector(3, vostest::asCaught("Entry is NULL, do nothing. \n")));
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
    for (ListNode &node : nodes) {
        addEnd(&node, &list);
        sortIntList(&list);
    }
    printList(&list, 0);
    printList(&list, 1);
    const auto pointer = [](const void *p) { return testing::PrintToString(p); };
    const auto line = [](const std::string &text) { return vostest::asCaught(text + '\n'); };
    const std::string header =
        line("\nThe List: list->head " + pointer(list.head) + ", list->tail " + pointer(list.tail));
    EXPECT_THAT(diagnostics.takeBodies(),
                ElementsAre(line("smallestPtr is NULL or ptr is NULL"), header,
                            line("ptr " + pointer(&nodes[0]) + ", " + std::to_string(number)), header, line("17")));
}

}  // namespace
