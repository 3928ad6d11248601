// Hash map from texts to pointers: two parallel chains of list entries for each bucket.
#include "vos/hashmap.h"

#include <algorithm>
#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/own_names.h"
#include "internal/text_room.h"
#include "vos/text.h"

namespace {

// The hash after four more bytes, whose multiplications need not wait for each other.
uint32_t hashFour(uint32_t hash, const uint8_t *at) {
    return hash * (17 * 17 * 17 * 17) + at[0] * (17u * 17 * 17) + at[1] * (17u * 17) + at[2] * 17u + at[3];
}

uint32_t hashOf(const char *key, size_t length) {
    const auto *at = reinterpret_cast<const uint8_t *>(key);
    const uint8_t *end = at + length;
    uint32_t hash = 0;
    for (; end - at >= 4; at += 4) {
        hash = hashFour(hash, at);
    }
    for (; at != end; at++) {
        hash = hash * 17 + *at;
    }
    return hash;
}

// The same of a whole text, found out on the way to its end.
uint32_t hashText(const char *key) {
    const auto *at = reinterpret_cast<const uint8_t *>(key);
    for (uint32_t hash = 0;; at += 4) {
        if (at[0] == 0) {
            return hash;
        }
        if (at[1] == 0) {
            return hash * 17 + at[0];
        }
        if (at[2] == 0) {
            return hash * (17 * 17) + at[0] * 17u + at[1];
        }
        if (at[3] == 0) {
            return hash * (17 * 17 * 17) + at[0] * (17u * 17) + at[1] * 17u + at[2];
        }
        hash = hashFour(hash, at);
    }
}

size_t lengthOf(const char *key, int32_t length) {
    return length < 0 ? strlen(key) : static_cast<size_t>(length);
}

uint32_t bucketOf(const HashMap &map, uint32_t hash) {
    const uint32_t mask = map.bucketCount - 1;
    return (map.bucketCount & mask) == 0 ? hash & mask : hash % map.bucketCount;
}

const char *keyOf(const ListEntry &entry) {
    return static_cast<const char *>(entry.data);
}

// A key's two entries; NULL when the map does not hold the key. Small enough to stay in registers.
struct Found {
    ListEntry *key;
    ListEntry *value;
};

Found find(const HashMap &map, const char *key) {
    const uint32_t bucket = bucketOf(map, hashText(key));
    ListEntry *keyEntry = map.keyChains[bucket];
    ListEntry *valueEntry = map.valueChains[bucket];
    __builtin_prefetch(valueEntry);  // comes while the keys are compared
    while (keyEntry != nullptr && strcmp(keyOf(*keyEntry), key) != 0) {
        keyEntry = keyEntry->next;
        valueEntry = valueEntry->next;
    }
    return {keyEntry, valueEntry};
}

void pushFront(ListEntry *&chain, vos::MemPtr<ListEntry> &entry) {
    entry->next = chain;
    chain = entry.release();
}

vos::MemPtr<ListEntry> takeOut(ListEntry *&chain, ListEntry *entry) {
    ListEntry **link = &chain;
    while (*link != entry) {
        link = &(*link)->next;
    }
    *link = entry->next;
    return vos::MemPtr<ListEntry>{entry};
}

void remove(HashMap &map, uint32_t bucket, const Found &found, void (*freeValue)(void *)) {
    const auto keyEntry = takeOut(map.keyChains[bucket], found.key);
    const auto valueEntry = takeOut(map.valueChains[bucket], found.value);
    VOS_FREE(keyEntry->data);
    if (freeValue != nullptr) {
        freeValue(valueEntry->data);
    }
}

}  // namespace

VOS_OPEN_NAME uint32_t hash_string(const char *key, int32_t len) {
    return key == nullptr ? 0 : hashOf(key, lengthOf(key, len));
}

VosRet vos::own::hashmap_create(HashMap **mapOut, uint32_t bucketCount) {
    if (mapOut == nullptr || bucketCount == 0) {
        return VOS_RET_BAD_ARG;
    }
    const uint64_t chainBytes = uint64_t{bucketCount} * sizeof(ListEntry *);
    auto map = vos::allocZeroed<HashMap>();
    auto keyChains = vos::allocZeroed<ListEntry *>(chainBytes);
    auto valueChains = vos::allocZeroed<ListEntry *>(chainBytes);
    if (!map || !keyChains || !valueChains) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return VOS_RET_NO_RESOURCE;
    }
    *map = {bucketCount, keyChains.release(), valueChains.release()};
    *mapOut = map.release();
    return VOS_RET_OK;
}

VosRet vos::own::hashmap_insert(HashMap *map, const char *key, int32_t keyLen, void *value) {
    if (map == nullptr || key == nullptr) {
        VOS_DBG_ERROR("Invalid Param!");
        return VOS_RET_BAD_ARG;
    }
    const size_t length = lengthOf(key, keyLen);
    auto copy = vos::allocZeroed<char>(uint64_t{length} + 1);
    if (!copy) {
        VOS_DBG_ERROR("Fail to malloc!");
        return VOS_RET_NO_RESOURCE;
    }
    memcpy(copy.get(), key, length);
    vos::MemPtr<ListEntry> keyEntry{vos::own::list_create_entry(copy.get())};
    vos::MemPtr<ListEntry> valueEntry{vos::own::list_create_entry(value)};
    if (!keyEntry || !valueEntry) {
        VOS_DBG_ERROR("Fail to list_create_entry!");
        return VOS_RET_NO_RESOURCE;
    }
    copy.release();
    const uint32_t bucket = bucketOf(*map, hashOf(key, length));
    pushFront(map->keyChains[bucket], keyEntry);
    pushFront(map->valueChains[bucket], valueEntry);
    return VOS_RET_OK;
}

void *vos::own::hashmap_search(const HashMap *map, const char *key) {
    if (map == nullptr || key == nullptr) {
        return nullptr;
    }
    const Found found = find(*map, key);
    return found.key == nullptr ? nullptr : found.value->data;
}

VOS_OPEN_NAME VosRet hashmap_delete(HashMap *map, const char *key, void (*freeValue)(void *)) {
    if (map == nullptr || key == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const Found found = find(*map, key);
    if (found.key == nullptr) {
        return VOS_RET_NOT_IN_LIST;
    }
    remove(*map, bucketOf(*map, hashText(key)), found, freeValue);
    return VOS_RET_OK;
}

VOS_OPEN_NAME VosRet hashmap_getAllKey(const HashMap *map, char *buf, uint32_t bucketsToScan, uint32_t bufLen) {
    if (map == nullptr || buf == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const auto room = vos::textRoom(bufLen);
    const uint32_t buckets = std::min(bucketsToScan, map->bucketCount);
    for (uint32_t bucket = 0; bucket < buckets; bucket++) {
        for (const ListEntry *entry = map->keyChains[bucket]; entry != nullptr; entry = entry->next) {
            // Contract: no comma stands between the keys of the first bucket.
            if (bucket != 0) {
                util_strncat(__func__, __LINE__, buf, ",", room);
            }
            util_strncat(__func__, __LINE__, buf, keyOf(*entry), room);
        }
    }
    return VOS_RET_OK;
}

VOS_OPEN_NAME void hashmap_destroy(HashMap *map, void (*freeValue)(void *)) {
    if (map == nullptr) {
        return;
    }
    for (uint32_t bucket = 0; bucket < map->bucketCount; bucket++) {
        while (map->keyChains[bucket] != nullptr) {
            remove(*map, bucket, {map->keyChains[bucket], map->valueChains[bucket]}, freeValue);
        }
    }
    VOS_FREE(map->keyChains);
    VOS_FREE(map->valueChains);
    VOS_FREE(map);
}

VOS_OPEN_NAME VosRet hashmap_create(HashMap **mapOut, uint32_t bucketCount) {
    return vos::own::hashmap_create(mapOut, bucketCount);
}

VOS_OPEN_NAME VosRet hashmap_insert(HashMap *map, const char *key, int32_t keyLen, void *value) {
    return vos::own::hashmap_insert(map, key, keyLen, value);
}

VOS_OPEN_NAME void *hashmap_search(const HashMap *map, const char *key) {
    return vos::own::hashmap_search(map, key);
}
