// A backtrace passes through the library's frames: from a callback to whoever called the library.
#include <gtest/gtest.h>
#include <unwind.h>

#include <algorithm>
#include <vector>

#include "vos/eid.h"
#include "vos/hashmap.h"
#include "vos/tmr.h"

namespace {

std::vector<uintptr_t> functions;  // around the callback, the innermost first

void look(void *) {
    _Unwind_Backtrace(
        [](_Unwind_Context *frame, void *) {
            functions.push_back(_Unwind_GetRegionStart(frame));
            return _URC_NO_REASON;
        },
        nullptr);
}

void timers() {
    void *list = nullptr;
    utilTmr_init(&list);
    utilTmr_set(list, look, nullptr, 0, "look");
    utilTmr_executeExpiredEvents(list);
    utilTmr_cleanup(&list);
}
void hashMap() {
    HashMap *map = nullptr;
    hashmap_create(&map, 1);
    hashmap_insert(map, "key", 3, &map);
    hashmap_destroy(map, look);
    functions.push_back(0);
}
void entities() {
    vosEid_forEachEntityInfo([](const EntityInfo *, void *) { return look(nullptr), 1; }, nullptr);
    functions.push_back(0);
}

TEST(Unwind, ShowsWhoCalledTheLibraryFromInsideItsCallbacks) {
    for (void (*const caller)() : {timers, hashMap, entities}) {
        functions.clear();
        caller();
        EXPECT_EQ(std::ranges::count(functions, reinterpret_cast<uintptr_t>(caller)), 1);
    }
}

}  // namespace
