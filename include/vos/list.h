/** @file
 *  Singly linked lists with head and tail, in two families: list_…, whose entries the library allocates, and the older
 *  one (addEnd … printList) of nodes that callers allocate, with look-up by number or text and sorting.
 *
 *  A list is a header of the caller's, two NULLs when empty; it owns neither its entries nor their data. No function
 *  but list_create_entry() allocates or frees. A walk ends at the tail, whatever the tail's own link says.
 *
 *  A list belongs to one thread at a time. NULL in the place of a list, a node or a key gives VOS_RET_BAD_ARG, NULL or
 *  0 by the type of the result and changes nothing; calls without a result do nothing.
 */
#ifndef VOS_LIST_H
#define VOS_LIST_H

#include "vos/ret.h"

/** Entry of a list_… list. */
typedef struct ListEntry {
    struct ListEntry *next; /**< following entry */
    void *data;             /**< the caller's object; not owned */
} ListEntry;
VOS_STATIC_ASSERT(sizeof(ListEntry) == 16, "callers link entries themselves");
VOS_STATIC_ASSERT(offsetof(ListEntry, data) == 8, "callers link entries themselves");

/** Header of a list_… list. */
typedef struct {
    ListEntry *head; /**< first entry; NULL when empty */
    ListEntry *tail; /**< last entry */
} List;
VOS_STATIC_ASSERT(sizeof(List) == 16 && offsetof(List, tail) == 8, "callers read head and tail");

/** Node of the older family, allocated by the caller. */
typedef struct ListNode {
    struct ListNode *next; /**< following node */
    void *reserved;        /**< the caller's; never read or written here */
    void *data;            /**< an int32_t or a text, by the functions in use; not owned */
} ListNode;
VOS_STATIC_ASSERT(sizeof(ListNode) == 24, "callers allocate nodes themselves");
VOS_STATIC_ASSERT(offsetof(ListNode, reserved) == 8, "callers allocate nodes themselves");
VOS_STATIC_ASSERT(offsetof(ListNode, data) == 16, "callers allocate nodes themselves");

/** Header of a list of the older family. */
typedef struct {
    ListNode *head; /**< first node; NULL when empty */
    ListNode *tail; /**< last node */
} NodeList;
VOS_STATIC_ASSERT(sizeof(NodeList) == 16 && offsetof(NodeList, tail) == 8, "callers read head and tail");

VOS_BEGIN_DECLS

/** A new entry for @p data, unlinked; NULL when memory is short. The caller frees it with vosMem_free. */
ListEntry *list_create_entry(void *data);

/** Links @p entry behind the tail. Its own link is left as it is: clear it first, or have it lead a chain whose last
 *  entry then becomes the tail by hand.
 *
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG
 */
VosRet list_append(ListEntry *entry, List *list);

/** Links @p entry in front of the head: VOS_RET_OK or VOS_RET_BAD_ARG. */
VosRet list_prepend(ListEntry *entry, List *list);

/** Links all entries of @p src behind the tail of @p dst. @p src keeps pointing at them; use it no more.
 *
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG, also for an empty @p src and for a list merged with itself
 */
VosRet list_merge(List *src, List *dst);

/** Unlinks the tail and returns it; NULL when empty. The new tail keeps its link to the old one: clear it before you
 *  follow it. */
ListEntry *list_deleteTail(List *list);

/** Unlinks a member and returns it. A list of one entry becomes empty whatever @p entry is. NULL when a longer list
 *  does not hold @p entry. */
ListEntry *list_delete(ListEntry *entry, List *list);

/** Whether the text of some entry's data equals @p str: VOS_RET_OK, VOS_RET_NOT_IN_LIST or VOS_RET_BAD_ARG. */
VosRet list_compareWithString(const char *str, const List *list);

/** list_append() of the older family. */
VosRet addEnd(ListNode *node, NodeList *list);

/** list_prepend() of the older family. */
VosRet addFront(ListNode *node, NodeList *list);

/** Unlinks the head and returns it; NULL when empty. The tail stays as it is, also when the list becomes empty; adding
 *  to an empty list sets both. */
ListNode *removeFront(NodeList *list);

/** list_deleteTail() of the older family. */
ListNode *removeEnd(NodeList *list);

/** @name Look-up
 *  @{ */

/** Finds the first node whose data equals the key. Nodes without data are passed over.
 *
 *  The key is an int32_t, as every data is then, or a text; findEntry() takes either, a text where isString is not 0.
 *
 *  @param nodeOut  receives the node; NULL when there is none
 *  @param prevOut  receives the node before it, or the node itself when it is the head; NULL when there is none
 *  @return 1 when found, else 0
 */
int findEntry(const NodeList *list, const void *key, int isString, ListNode **prevOut, ListNode **nodeOut);
int findIntEntry(const NodeList *list, const int32_t *key, ListNode **prevOut, ListNode **nodeOut);
int findStrEntry(const NodeList *list, const char *key, ListNode **prevOut, ListNode **nodeOut);
/** @} */

/** @name Removal
 *  @{ */

/** Unlinks the first node whose data equals the key and returns it; NULL when there is none. Keys are as for
 *  findEntry(). */
ListNode *removeEntry(NodeList *list, const void *key, int isString);
ListNode *removeIntEntry(NodeList *list, const int32_t *key);
ListNode *removeStrEntry(NodeList *list, const char *key);
/** @} */

/** Unlinks a node with the node before it as a look-up gave them and returns it. A list of one node becomes empty
 *  whatever @p node is. */
ListNode *removeFoundEntry(ListNode *node, ListNode *prev, NodeList *list);

/** Sorts by the int32_t behind data, ascending. Nodes stay where they are, their data pointers move; a node without
 *  data keeps its place. Takes quadratic time. */
void sortIntList(NodeList *list);

/** Logs head and tail, then every node up to the first without data, at debug level.
 *
 *  @param isString  0: data points to an int32_t; else to a text
 */
void printList(const NodeList *list, int isString);

VOS_END_DECLS

#endif
