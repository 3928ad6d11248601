// Hash map from texts to pointers: two parallel chains of list entries for each bucket.
#include "vos/hashmap.h"

#include <algorithm>
#include <cstring>

#include "internal/guards.h"
#include "internal/text_room.h"
#include "vos/dbg.h"
#include "vos/text.h"

namespace {

// From the start of an entry to its neighbours on the heap: to the copy of a key of some length in front of it, without
// that length, and to another entry behind it.
constexpr size_t kCopyDistance = 32;
constexpr size_t kEntryDistance = 48;

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

struct HashedText {
    uint32_t hash;
    size_t length;
};

// Hash and length in one pass.
HashedText hashText(const char *key) {
    const auto *start = reinterpret_cast<const uint8_t *>(key);
    const auto *at = start;
    const auto result = [&](uint32_t hash, size_t rest) {
        return HashedText{hash, static_cast<size_t>(at - start) + rest};
    };
    for (uint32_t hash = 0;; at += 4) {
        if (at[0] == 0) {
            return result(hash, 0);
        }
        if (at[1] == 0) {
            return result(hash * 17 + at[0], 1);
        }
        if (at[2] == 0) {
            return result(hash * (17 * 17) + at[0] * 17u + at[1], 2);
        }
        if (at[3] == 0) {
            return result(hash * (17 * 17 * 17) + at[0] * (17u * 17) + at[1] * 17u + at[2], 3);
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

uint64_t loadWord(const char *bytes) {
    uint64_t word = 0;
    memcpy(&word, bytes, sizeof word);
    return word;
}

// Whether the map's copy of a key is `key`, `size` bytes with its terminator. A word may run over the copy's end, by
// seven bytes at most because all before it are equal: there lies the memory manager's guard of eight.
bool equals(const char *copy, const char *key, size_t size) {
    constexpr size_t kWord = sizeof(uint64_t);
    if (size < kWord) {
        return strcmp(copy, key) == 0;
    }
    for (size_t i = 0; i + kWord <= size; i += kWord) {
        if (loadWord(copy + i) != loadWord(key + i)) {
            return false;
        }
    }
    return loadWord(copy + size - kWord) == loadWord(key + size - kWord);
}

// A key's two entries; NULL when the map does not hold the key. Small enough to stay in registers.
struct Found {
    ListEntry *key;
    ListEntry *value;
};

Found find(const HashMap &map, const char *key) {
    const auto [hash, length] = hashText(key);
    const uint32_t bucket = bucketOf(map, hash);
    ListEntry *keyEntry = map.keyChains[bucket];
    ListEntry *valueEntry = map.valueChains[bucket];
    // The blocks of one insert mostly lie side by side: fetched now, they need not wait for each other.
    const auto first = reinterpret_cast<uintptr_t>(keyEntry);
    __builtin_prefetch(reinterpret_cast<const void *>(first - kCopyDistance - length));
    __builtin_prefetch(reinterpret_cast<const void *>(first + kEntryDistance));
    while (keyEntry != nullptr && !equals(keyOf(*keyEntry), key, length + 1)) {
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
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
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
    const uint32_t bucket = bucketOf(*map, hashOf(key, length));
    pushFront(map->keyChains[bucket], keyEntry);
    pushFront(map->valueChains[bucket], valueEntry);
    return VOS_RET_OK;
}

void *hashmap_search(const HashMap *map, const char *key) {
    if (map == nullptr || key == nullptr) {
        return nullptr;
    }
    const Found found = find(*map, key);
    return found.key == nullptr ? nullptr : found.value->data;
}

VosRet hashmap_delete(HashMap *map, const char *key, void (*freeValue)(void *)) {
    if (map == nullptr || key == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const Found found = find(*map, key);
    if (found.key == nullptr) {
        return VOS_RET_NOT_IN_LIST;
    }
    remove(*map, bucketOf(*map, hash_string(key, -1)), found, freeValue);
    return VOS_RET_OK;
}

VosRet hashmap_getAllKey(const HashMap *map, char *buf, uint32_t bucketsToScan, uint32_t bufLen) {
    if (map == nullptr || buf == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const auto room = vos::textRoom(bufLen);
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
            remove(*map, bucket, {map->keyChains[bucket], map->valueChains[bucket]}, freeValue);
        }
    }
    VOS_FREE(map->keyChains);
    VOS_FREE(map->valueChains);
    VOS_FREE(map);
}
