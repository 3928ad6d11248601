// Lists of entries that the library allocates.
#include "vos/list.h"

#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/own_names.h"
#include "util/list/core.h"

ListEntry *vos::own::list_create_entry(void *data) {
    auto entry = vos::allocZeroed<ListEntry>();
    if (entry) {
        entry->data = data;
    } else {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
    }
    return entry.release();
}

VOS_OPEN_NAME VosRet list_append(ListEntry *entry, List *list) {
    return vos::listcore::append(entry, list);
}

VOS_OPEN_NAME VosRet list_prepend(ListEntry *entry, List *list) {
    return vos::listcore::prepend(entry, list);
}

VOS_OPEN_NAME VosRet list_merge(List *src, List *dst) {
    ListEntry *first = src == nullptr ? nullptr : src->head;
    // Merged with itself, a list would run in a circle.
    if (first != nullptr && src == dst) {
        return VOS_RET_BAD_ARG;
    }
    const VosRet ret = vos::listcore::append(first, dst);
    if (ret == VOS_RET_OK) {
        dst->tail = src->tail;
    }
    return ret;
}

VOS_OPEN_NAME ListEntry *list_deleteTail(List *list) {
    return vos::listcore::takeTail(list);
}

VOS_OPEN_NAME ListEntry *list_delete(ListEntry *entry, List *list) {
    if (list == nullptr) {
        return nullptr;
    }
    const auto place = vos::listcore::find(*list, [entry](const ListEntry &each) { return &each == entry; });
    return vos::listcore::unlink(entry, place.previous, *list);
}

VOS_OPEN_NAME VosRet list_compareWithString(const char *str, const List *list) {
    if (str == nullptr || list == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const auto place = vos::listcore::find(*list, [str](const ListEntry &entry) {
        return entry.data != nullptr && strcmp(static_cast<const char *>(entry.data), str) == 0;
    });
    return place.node != nullptr ? VOS_RET_OK : VOS_RET_NOT_IN_LIST;
}

VOS_OPEN_NAME ListEntry *list_create_entry(void *data) {
    return vos::own::list_create_entry(data);
}
