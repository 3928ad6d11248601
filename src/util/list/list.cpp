// Lists of entries that the library allocates.
#include "vos/list.h"

#include <cstring>

#include "internal/guards.h"
#include "util/list/core.h"
#include "vos/dbg.h"

ListEntry *list_create_entry(void *data) {
    auto entry = vos::allocZeroed<ListEntry>();
    if (entry) {
        entry->data = data;
    } else {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
    }
    return entry.release();
}

VosRet list_append(ListEntry *entry, List *list) {
    return vos::listcore::append(entry, list);
}

VosRet list_prepend(ListEntry *entry, List *list) {
    return vos::listcore::prepend(entry, list);
}

VosRet list_merge(List *src, List *dst) {
    // Merged with itself, a list would run in a circle.
    if (src != nullptr && src == dst) {
        return VOS_RET_BAD_ARG;
    }
    const VosRet ret = vos::listcore::append(src == nullptr ? nullptr : src->head, dst);
    if (ret == VOS_RET_OK) {
        dst->tail = src->tail;
    }
    return ret;
}

ListEntry *list_deleteTail(List *list) {
    return vos::listcore::takeTail(list);
}

ListEntry *list_delete(ListEntry *entry, List *list) {
    if (list == nullptr) {
        return nullptr;
    }
    const auto place = vos::listcore::find(*list, [entry](const ListEntry &each) { return &each == entry; });
    return vos::listcore::unlink(entry, place.previous, *list);
}

VosRet list_compareWithString(const char *str, const List *list) {
    if (str == nullptr || list == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const auto place = vos::listcore::find(*list, [str](const ListEntry &entry) {
        return entry.data != nullptr && strcmp(static_cast<const char *>(entry.data), str) == 0;
    });
    return place.node != nullptr ? VOS_RET_OK : VOS_RET_NOT_IN_LIST;
}
