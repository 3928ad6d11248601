/** @file
 *  Hash map from texts to pointers.
 *
 *  The map owns copies of its keys, never its values. Keys are not unique: an insert hides older values of the same key
 *  until it is deleted again. Any text may be a key, also the empty one. The number of buckets is fixed; a power of two
 *  makes look-ups cheaper.
 *
 *  A map belongs to one thread at a time; searching alone may be done by several.
 */
#ifndef VOS_HASHMAP_H
#define VOS_HASHMAP_H

#include "vos/list.h"

/** A map; a debugger's view, not for callers to write. The chains of one bucket hold key copies and values in the same
 *  order, newest first. */
typedef struct {
    uint32_t bucketCount;    /**< length of both arrays */
    ListEntry **keyChains;   /**< data: the key's copy, terminated */
    ListEntry **valueChains; /**< data: the caller's value */
} HashMap;
VOS_STATIC_ASSERT(sizeof(HashMap) == 24, "layout is shared with debugging tools");
VOS_STATIC_ASSERT(offsetof(HashMap, bucketCount) == 0, "layout is shared with debugging tools");
VOS_STATIC_ASSERT(offsetof(HashMap, keyChains) == 8, "layout is shared with debugging tools");
VOS_STATIC_ASSERT(offsetof(HashMap, valueChains) == 16, "layout is shared with debugging tools");

VOS_BEGIN_DECLS

/** Hash of a key: h = 17 h + byte over its unsigned bytes, modulo 2^32, from 0. The bucket is its rest by bucketCount.
 *
 *  @param len  bytes of @p key; negative: up to its terminator
 *  @return 0 for a NULL key
 */
uint32_t hash_string(const char *key, int32_t len);

/** Makes an empty map.
 *
 *  @param mapOut  receives the map, released with hashmap_destroy(); untouched on failure
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for NULL or no buckets; VOS_RET_NO_RESOURCE
 */
VosRet hashmap_create(HashMap **mapOut, uint32_t bucketCount);

/** Adds a value under a copy of @p key, in front of any others of the same key.
 *
 *  @param keyLen  bytes of @p key; negative: up to its terminator. Of a key with a NUL inside the part in
 *                 front may find the value, or nothing does.
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for NULL; VOS_RET_NO_RESOURCE, the map is as before then
 */
VosRet hashmap_insert(HashMap *map, const char *key, int32_t keyLen, void *value);

/** The value that was inserted last under @p key; NULL when there is none and for NULL. */
void *hashmap_search(const HashMap *map, const char *key);

/** Removes what hashmap_search() would find.
 *
 *  @param freeValue  called with the value unless NULL; must not throw
 *  @return VOS_RET_OK; VOS_RET_NOT_IN_LIST; VOS_RET_BAD_ARG for NULL
 */
VosRet hashmap_delete(HashMap *map, const char *key, void (*freeValue)(void *));

/** Appends the keys of the first @p bucketsToScan buckets to the text in @p buf, cut to what fits.
 *
 *  A comma goes in front of every key but those of bucket 0: these run together, and the list begins with a comma when
 *  bucket 0 is empty.
 *
 *  @param buf            a terminated text
 *  @param bucketsToScan  more than the map has count as all
 *  @param bufLen         bytes of @p buf
 *  @return VOS_RET_OK, also when keys were cut; VOS_RET_BAD_ARG for NULL
 */
VosRet hashmap_getAllKey(const HashMap *map, char *buf, uint32_t bucketsToScan, uint32_t bufLen);

/** Frees the map and its keys; NULL does nothing.
 *
 *  @param freeValue  called with every value unless NULL; must not throw
 */
void hashmap_destroy(HashMap *map, void (*freeValue)(void *));

VOS_END_DECLS

#endif
