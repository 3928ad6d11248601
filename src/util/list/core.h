// What both list families do alike: linking, walking, unlinking.
#pragma once

#include <type_traits>

#include "internal/dbg.h"
#include "vos/list.h"

namespace vos::listcore {

/** A member and the one before it; the head stands before itself. Two NULLs: not found. */
template <typename Node>
struct Place {
    Node *previous = nullptr;
    Node *node = nullptr;
};

// The tail's link is the caller's: a removed neighbour may still hang there.
template <typename List, typename Node>
Node *nextOf(const List &list, Node *node) {
    return node == list.tail ? nullptr : node->next;
}

template <typename List, typename Matches>
auto find(const List &list, Matches matches) {
    using Node = std::remove_pointer_t<decltype(list.head)>;
    Place<Node> place{list.head, list.head};
    while (place.node != nullptr && !matches(*place.node)) {
        place = {place.node, nextOf(list, place.node)};
    }
    return place.node != nullptr ? place : Place<Node>{};
}

template <typename List>
bool holdsOne(const List &list) {
    return list.head != nullptr && list.head == list.tail;
}

inline bool canLink(const void *node, const void *list) {
    if (node == nullptr) {
        VOS_DBG_DEBUG("Entry is NULL, do nothing. \n");
    }
    return node != nullptr && list != nullptr;
}

template <typename Node, typename List>
VosRet append(Node *node, List *list) {
    if (!canLink(node, list)) {
        return VOS_RET_BAD_ARG;
    }
    // The tail says nothing about an empty list, see removeFront().
    if (list->head == nullptr) {
        list->head = node;
    } else {
        list->tail->next = node;
    }
    list->tail = node;
    return VOS_RET_OK;
}

template <typename Node, typename List>
VosRet prepend(Node *node, List *list) {
    if (!canLink(node, list)) {
        return VOS_RET_BAD_ARG;
    }
    if (list->head == nullptr) {
        list->tail = node;
    }
    node->next = list->head;
    list->head = node;
    return VOS_RET_OK;
}

/** Takes out a node with the node before it, as find() gave them. NULL when there is none. */
template <typename Node, typename List>
Node *unlink(Node *node, Node *previous, List &list) {
    // Callers empty a list of one with whatever node they hold.
    if (holdsOne(list)) {
        list = {};
        return node;
    }
    if (node == nullptr || previous == nullptr) {
        return nullptr;
    }
    if (node == list.tail) {
        previous->next = nullptr;
        list.tail = previous;
    } else if (node == previous) {
        list.head = node->next;
    } else {
        previous->next = node->next;
    }
    return node;
}

template <typename List>
auto takeTail(List *list) -> decltype(list->head) {
    if (list == nullptr || list->head == nullptr) {
        return nullptr;
    }
    const auto place = find(*list, [list](const auto &node) { return &node == list->tail; });
    if (holdsOne(*list)) {
        *list = {};
    } else if (place.node != nullptr) {
        // Contract: the new tail keeps its link; callers clear it themselves.
        list->tail = place.previous;
    }
    return place.node;
}

}  // namespace vos::listcore
