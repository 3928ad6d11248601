// Hash map from texts to pointers: two parallel chains of list entries for each bucket.
#include "vos/hashmap.h"

#include <algorithm>
#include <cstring>

#include "internal/guards.h"
#include "vos/dbg.h"
#include "vos/text.h"

namespace {

// Four bytes a step, so that the multiplications of a step need not wait for each other.
uint32_t hashOf(const char *key, size_t length) {
    const auto *byte = reinterpret_cast<const uint8_t *>(key);
    const uint8_t *end = byte + length;
    uint32_t hash = 0;
    for (; end - byte >= 4; byte += 4) {
        hash = hash * (17 * 17 * 17 * 17) + byte[0] * (17u * 17 * 17) + byte[1] * (17u * 17) + byte[2] * 17u + byte[3];
    }
    for (; byte != end; byte++) {
        hash = hash * 17 + *byte;
    }
    return hash;
}

size_t lengthOf(const char *key, int32_t length) {
    return length < 0 ? strlen(key) : static_cast<size_t>(length);
}

uint32_t bucketOf(const HashMap &map, const char *key, size_t length) {
    const uint32_t hash = hashOf(key, length);
    const uint32_t mask = map.bucketCount - 1;
    return (map.bucketCount & mask) == 0 ? hash & mask : hash % map.bucketCount;
}

const char *keyOf(const ListEntry &entry) {
    return static_cast<const char *>(entry.data);
}

// The links that lead to a key's two entries; NULL behind them when the map does not hold the key.
struct Links {
    ListEntry **key;
    ListEntry **value;
};

Links find(const HashMap &map, const char *key) {
    const uint32_t bucket = bucketOf(map, key, strlen(key));
    Links links{&map.keyChains[bucket], &map.valueChains[bucket]};
    while (*links.key != nullptr && strcmp(keyOf(**links.key), key) != 0) {
        links = {&(*links.key)->next, &(*links.value)->next};
    }
    return links;
}

vos::MemPtr<ListEntry> takeOut(ListEntry **link) {
    vos::MemPtr<ListEntry> entry{*link};
    *link = entry->next;
    return entry;
}

void pushFront(ListEntry **chain, vos::MemPtr<ListEntry> &entry) {
    entry->next = *chain;
    *chain = entry.release();
}

void remove(Links links, void (*freeValue)(void *)) {
    const vos::MemPtr<ListEntry> keyEntry = takeOut(links.key);
    const vos::MemPtr<ListEntry> valueEntry = takeOut(links.value);
    VOS_FREE(keyEntry->data);
    if (freeValue != nullptr) {
        freeValue(valueEntry->data);
    }
}

}  // namespace

uint32_t hash_string(const char *key, int32_t len) {
    return key == nullptr ? 0 : hashOf(key, lengthOf(key, len));
}

VosRet hashmap_create(HashMap **mapOut, uint32_t bucketCount) {
    if (mapOut == nullptr || bucketCount == 0) {
        return VOS_RET_BAD_ARG;
    }
    const uint64_t chainBytes = uint64_t{bucketCount} * sizeof(ListEntry *);
    auto map = vos::allocZeroed<HashMap>();
    auto keyChains = vos::allocZeroed<ListEntry *>(chainBytes);
    auto valueChains = vos::allocZeroed<ListEntry *>(chainBytes);
    if (!map || !keyChains || !valueChains) {
        return VOS_RET_NO_RESOURCE;
    }
    *map = {bucketCount, keyChains.release(), valueChains.release()};
    *mapOut = map.release();
    return VOS_RET_OK;
}

VosRet hashmap_insert(HashMap *map, const char *key, int32_t keyLen, void *value) {
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
    vos::MemPtr<ListEntry> keyEntry{list_create_entry(copy.get())};
    vos::MemPtr<ListEntry> valueEntry{list_create_entry(value)};
    if (!keyEntry || !valueEntry) {
        VOS_DBG_ERROR("Fail to list_create_entry!");
        return VOS_RET_NO_RESOURCE;
    }
    copy.release();
    const uint32_t bucket = bucketOf(*map, key, length);
    pushFront(&map->keyChains[bucket], keyEntry);
    pushFront(&map->valueChains[bucket], valueEntry);
    return VOS_RET_OK;
}

void *hashmap_search(const HashMap *map, const char *key) {
    if (map == nullptr || key == nullptr) {
        return nullptr;
    }
    const Links links = find(*map, key);
    return *links.key == nullptr ? nullptr : (*links.value)->data;
}

VosRet hashmap_delete(HashMap *map, const char *key, void (*freeValue)(void *)) {
    if (map == nullptr || key == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const Links links = find(*map, key);
    if (*links.key == nullptr) {
        return VOS_RET_NOT_IN_LIST;
    }
    remove(links, freeValue);
    return VOS_RET_OK;
}

VosRet hashmap_getAllKey(const HashMap *map, char *buf, uint32_t bucketsToScan, uint32_t bufLen) {
    if (map == nullptr || buf == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const auto room = static_cast<int32_t>(std::min<uint32_t>(bufLen, INT32_MAX));
    const uint32_t buckets = std::min(bucketsToScan, map->bucketCount);
    for (uint32_t bucket = 0; bucket < buckets; bucket++) {
        for (const ListEntry *entry = map->keyChains[bucket]; entry != nullptr; entry = entry->next) {
            // Callers know the list by its missing commas between the keys of the first bucket.
            if (bucket != 0) {
                util_strncat(__func__, __LINE__, buf, ",", room);
            }
            util_strncat(__func__, __LINE__, buf, keyOf(*entry), room);
        }
    }
    return VOS_RET_OK;
}

void hashmap_destroy(HashMap *map, void (*freeValue)(void *)) {
    if (map == nullptr) {
        return;
    }
    for (uint32_t bucket = 0; bucket < map->bucketCount; bucket++) {
        while (map->keyChains[bucket] != nullptr) {
            remove({&map->keyChains[bucket], &map->valueChains[bucket]}, freeValue);
        }
    }
    VOS_FREE(map->keyChains);
    VOS_FREE(map->valueChains);
    VOS_FREE(map);
}
