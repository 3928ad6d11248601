// Look-ups in the entity table, access masks, and the cache from name to entity id.
#include "vos/eid.h"

#include <unistd.h>
#include <algorithm>
#include <cstring>
#include <string_view>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/own_names.h"
#include "internal/slice.h"
#include "internal/text_room.h"
#include "vos/eid/table.h"
#include "vos/hashmap.h"
#include "vos/text.h"

namespace {

constexpr uint32_t kCacheBuckets = 1024;
constexpr size_t kMaxName = 254;  // longest name that a list may hold

constinit HashMap *g_nameCache = nullptr;

template <typename Matches>
const EntityInfo *findRow(Matches matches) {
    for (const EntityInfo &row : vos::kEntityTable) {
        if (matches(row)) {
            return &row;
        }
    }
    return nullptr;
}

const EntityInfo *rowOf(VosEntityId eid) {
    return findRow([eid](const EntityInfo &row) { return row.eid == eid; });
}

const EntityInfo *rowOf(std::string_view name) {
    return findRow([name](const EntityInfo &row) { return name == row.name; });
}

VosEntityId remember(const EntityInfo &row) {
    auto eid = vos::allocZeroed<VosEntityId>();
    if (!eid) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return 0;
    }
    *eid = row.eid;
    // Without room in the cache the next look-up walks the table again.
    if (vos::own::hashmap_insert(g_nameCache, row.name, static_cast<int32_t>(strlen(row.name)), eid.get()) ==
        VOS_RET_OK) {
        eid.release();
    }
    return row.eid;
}

// Calls `visit` for every set bit of a mask, lowest first, with the entity it stands for or NULL.
template <typename Visit>
void forEachBit(uint16_t mask, Visit visit) {
    for (uint32_t bit = 0x0001; bit <= 0x8000; bit <<= 1) {
        if ((mask & bit) != 0) {
            visit(bit, vosEid_getEntityInfoByAccessBit(static_cast<uint16_t>(bit)));
        }
    }
}

VosRet addToMask(std::string_view name, uint16_t *mask) {
    const bool fits = name.size() <= kMaxName;
    utilAst_assertFunc(__FILE__, __LINE__, "(end - start + 1) < (SINT32) sizeof(name)", fits ? 1 : 0);
    const EntityInfo *row = fits ? rowOf(name) : nullptr;
    if (row == nullptr) {
        const std::string_view shown = vos::slice(name, 0, kMaxName);
        VOS_DBG_DEBUG("ignoring name %.*s", static_cast<int>(shown.size()), shown.data());
        return VOS_RET_UNKNOWN_NAME;
    }
    *mask |= row->accessBit;
    return VOS_RET_OK;
}

}  // namespace

const EntityInfo *vosEid_getEntityInfoByAccessBit(uint16_t accessBit) {
    return accessBit == 0 ? nullptr
                          : findRow([accessBit](const EntityInfo &row) { return row.accessBit == accessBit; });
}

const EntityInfo *vosEid_getEntityInfoByStringName(const char *name) {
    if (name == nullptr) {
        VOS_DBG_ERROR("name is NULL");
        return nullptr;
    }
    return rowOf(name);
}

VosRet vosEid_getAppName(char *buf, uint32_t bufLen, VosEntityId eid) {
    if (buf == nullptr || bufLen == 0) {
        return VOS_RET_BAD_ARG;
    }
    const EntityInfo *row = rowOf(eid);
    if (row == nullptr) {
        return VOS_RET_ERROR;
    }
    util_strncpy(__func__, __LINE__, buf, row->name, vos::textRoom(bufLen));
    return VOS_RET_OK;
}

uint8_t vosEid_getAppAccessBit(VosEntityId eid) {
    const EntityInfo *row = rowOf(eid);
    return row == nullptr ? uint8_t{0} : static_cast<uint8_t>(row->accessBit);
}

VosEntityId vosEid_getAppEid(const char *name) {
    if (name == nullptr) {
        return 0;
    }
    if (g_nameCache == nullptr) {
        vos::own::hashmap_create(&g_nameCache, kCacheBuckets);
    }
    if (const void *cached = vos::own::hashmap_search(g_nameCache, name)) {
        return *static_cast<const VosEntityId *>(cached);
    }
    const EntityInfo *row = rowOf(name);
    return row == nullptr ? 0 : remember(*row);
}

VosRet vosEid_getStringNamesFromBitMask(uint16_t mask, char **namesOut) {
    if (namesOut == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    uint32_t unknown = 0;
    uint32_t len = 1;
    forEachBit(mask, [&](uint32_t bit, const EntityInfo *row) {
        unknown |= row == nullptr ? bit : 0;
        len += row == nullptr ? 0 : static_cast<uint32_t>(strlen(row->name)) + 1;
    });
    for (uint32_t bit = 1; bit <= unknown; bit <<= 1) {
        if ((unknown & bit) != 0) {
            VOS_DBG_ERROR("unrecognized bitmask 0x%x", bit);
        }
    }
    auto names = vos::allocZeroed<char>(len);
    if (!names) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return VOS_RET_NO_RESOURCE;
    }
    uint32_t idx = 0;
    const char *const func = __func__;
    forEachBit(mask, [&](uint32_t, const EntityInfo *row) {
        if (row != nullptr) {
            idx += static_cast<uint32_t>(
                util_snprintf(func, __LINE__, names.get() + idx, len - idx, idx == 0 ? "%s" : ",%s", row->name));
        }
    });
    UTIL_ASSERT(idx < len);
    *namesOut = names.release();
    return unknown == 0 ? VOS_RET_OK : VOS_RET_UNKNOWN_NAME;
}

VosRet vosEid_getBitMaskFromStringNames(const char *names, uint16_t *maskOut) {
    if (maskOut == nullptr) {
        VOS_DBG_ERROR("bitMask is NULL");
        return VOS_RET_BAD_ARG;
    }
    *maskOut = 0;
    if (names == nullptr || names[0] == '\0') {
        return VOS_RET_OK;
    }
    VosRet ret = VOS_RET_OK;
    std::string_view rest = names;
    const auto take = [&](std::string_view name) {
        if (addToMask(name, maskOut) != VOS_RET_OK) {
            ret = VOS_RET_UNKNOWN_NAME;
        }
    };
    for (size_t comma = rest.find(','); comma != std::string_view::npos; comma = rest.find(',')) {
        take(vos::slice(rest, 0, comma));
        // Only blanks behind a comma are skipped; lists in the field have none in front of it.
        rest = vos::slice(rest, std::min(rest.find_first_not_of(' ', comma + 1), rest.size()));
    }
    take(rest);
    return ret;
}

VosRet vosEid_addDynamicEntityInfo(const char *appName) {
    // Contract: adding succeeds although nothing is stored, and deleting never finds it.
    if (appName == nullptr) {
        VOS_DBG_ERROR("appName is NULL");
        return VOS_RET_OK;
    }
    VOS_DBG_DEBUG("Add app %s to array", appName);
    VOS_DBG_ERROR("No available space for dynamic app");
    return VOS_RET_OK;
}

VosRet vosEid_delDynamicEntityInfo(const char *appName) {
    if (appName == nullptr) {
        VOS_DBG_ERROR("appName is NULL");
        return VOS_RET_BAD_ARG;
    }
    VOS_DBG_DEBUG("Del app %s from array", appName);
    VOS_DBG_DEBUG("Not found app %s in array", appName);
    return VOS_RET_NOT_IN_LIST;
}

int32_t vosEid_getPid(void) {
    return getpid();
}

int vosEid_forEachEntityInfo(int (*callback)(const EntityInfo *, void *), void *context) {
    if (callback == nullptr) {
        return 0;
    }
    for (const EntityInfo &row : vos::kEntityTable) {
        if (const int result = callback(&row, context)) {
            return result;
        }
    }
    return 0;
}

void vosEid_init(void *) {}

uint32_t vosEid_setServerPort(uint32_t) {
    return 0;
}

uint32_t vosEid_getNumberOfEntityInfoEntries(void) {
    return 0;
}

const EntityInfo *vosEid_getEntityInfo(VosEntityId) {
    return nullptr;
}

const EntityInfo *vosEid_getFirstEntityInfo(void) {
    // Contract: not an entity. Callers get the address of the pointer to the cache of names, a hash map.
    return reinterpret_cast<const EntityInfo *>(&g_nameCache);
}
