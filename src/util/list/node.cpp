// Lists of nodes that callers allocate, looked up by number or text.
#include <cstring>
#include <utility>

#include "internal/dbg.h"
#include "internal/own_names.h"
#include "util/list/core.h"
#include "vos/list.h"

namespace {

int32_t numberOf(const void *data) {
    return *static_cast<const int32_t *>(data);
}

bool equalsNumber(const void *data, const void *key) {
    return numberOf(data) == numberOf(key);
}

bool equalsText(const void *data, const void *key) {
    return strcmp(static_cast<const char *>(data), static_cast<const char *>(key)) == 0;
}

vos::listcore::Place<ListNode> find(const NodeList *list, const void *key, bool (*equals)(const void *, const void *)) {
    if (list == nullptr || key == nullptr) {
        return {};
    }
    return vos::listcore::find(
        *list, [key, equals](const ListNode &node) { return node.data != nullptr && equals(node.data, key); });
}

int report(const vos::listcore::Place<ListNode> &place, ListNode **prevOut, ListNode **nodeOut) {
    if (prevOut != nullptr) {
        *prevOut = place.previous;
    }
    if (nodeOut != nullptr) {
        *nodeOut = place.node;
    }
    return place.node != nullptr ? 1 : 0;
}

ListNode *remove(const vos::listcore::Place<ListNode> &place, NodeList *list) {
    return place.node == nullptr ? nullptr : vos::listcore::unlink(place.node, place.previous, *list);
}

}  // namespace

VOS_OPEN_NAME VosRet addEnd(ListNode *node, NodeList *list) {
    return vos::listcore::append(node, list);
}

VOS_OPEN_NAME VosRet addFront(ListNode *node, NodeList *list) {
    return vos::listcore::prepend(node, list);
}

VOS_OPEN_NAME ListNode *removeFront(NodeList *list) {
    if (list == nullptr || list->head == nullptr) {
        return nullptr;
    }
    // Contract: the tail is left alone; an empty list is known by its head.
    return std::exchange(list->head, list->head->next);
}

VOS_OPEN_NAME ListNode *removeEnd(NodeList *list) {
    return vos::listcore::takeTail(list);
}

VOS_OPEN_NAME int findEntry(const NodeList *list, const void *key, int isString, ListNode **prevOut,
                            ListNode **nodeOut) {
    return report(find(list, key, isString != 0 ? equalsText : equalsNumber), prevOut, nodeOut);
}

VOS_OPEN_NAME int findIntEntry(const NodeList *list, const int32_t *key, ListNode **prevOut, ListNode **nodeOut) {
    return report(find(list, key, equalsNumber), prevOut, nodeOut);
}

VOS_OPEN_NAME int findStrEntry(const NodeList *list, const char *key, ListNode **prevOut, ListNode **nodeOut) {
    return report(find(list, key, equalsText), prevOut, nodeOut);
}

VOS_OPEN_NAME ListNode *removeEntry(NodeList *list, const void *key, int isString) {
    return remove(find(list, key, isString != 0 ? equalsText : equalsNumber), list);
}

VOS_OPEN_NAME ListNode *removeIntEntry(NodeList *list, const int32_t *key) {
    return remove(find(list, key, equalsNumber), list);
}

VOS_OPEN_NAME ListNode *removeStrEntry(NodeList *list, const char *key) {
    return remove(find(list, key, equalsText), list);
}

VOS_OPEN_NAME ListNode *removeFoundEntry(ListNode *node, ListNode *prev, NodeList *list) {
    return list == nullptr ? nullptr : vos::listcore::unlink(node, prev, *list);
}

VOS_OPEN_NAME void sortIntList(NodeList *list) {
    if (list == nullptr || list->head == nullptr) {
        return;
    }
    if (vos::listcore::nextOf(*list, list->head) == nullptr) {
        VOS_DBG_DEBUG("smallestPtr is NULL or ptr is NULL\n");
        return;
    }
    for (ListNode *place = list->head; place != nullptr; place = vos::listcore::nextOf(*list, place)) {
        if (place->data == nullptr) {
            continue;
        }
        for (ListNode *later = place; later != nullptr; later = vos::listcore::nextOf(*list, later)) {
            if (later->data != nullptr && numberOf(later->data) < numberOf(place->data)) {
                std::swap(place->data, later->data);
            }
        }
    }
}

VOS_OPEN_NAME void printList(const NodeList *list, int isString) {
    if (list == nullptr) {
        return;
    }
    VOS_DBG_DEBUG("\nThe List: list->head %p, list->tail %p\n", static_cast<void *>(list->head),
                  static_cast<void *>(list->tail));
    for (ListNode *node = list->head; node != nullptr && node->data != nullptr;
         node = vos::listcore::nextOf(*list, node)) {
        if (isString != 0) {
            VOS_DBG_DEBUG("%s\n", static_cast<const char *>(node->data));
        } else {
            VOS_DBG_DEBUG("ptr %p, %d\n", static_cast<void *>(node), numberOf(node->data));
        }
    }
}
