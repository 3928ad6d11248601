// Ordered list of one-shot timer events.
#include "vos/tmr.h"

#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"

namespace {

// What callers see of a list and its events, each with private fields behind. The index makes looking up a pair cheap,
// the tail makes appending cheap; other places are found by walking.
struct Event : UtilTmrEvent {
    Event *sameBucket;
};

// A turn of callbacks in progress, and the one that it began in. Callbacks may free the list.
struct Run {
    Run *outer;
    bool listIsGone;
};

struct TimerList : UtilTmrHandle {
    static constexpr unsigned kBucketBits = 8;

    UtilTmrEvent *last;
    Run *run;
    Event *buckets[1 << kBucketBits];
};

TimerList *listOf(void *tmrHandle) {
    return static_cast<TimerList *>(tmrHandle);
}

const TimerList *listOf(const void *tmrHandle) {
    return static_cast<const TimerList *>(tmrHandle);
}

size_t bucketOf(UtilTmrFunc func, const void *ctxData) {
    constexpr uint64_t kSpread = 0x9E3779B97F4A7C15;
    const uint64_t mixed = reinterpret_cast<uintptr_t>(func) + kSpread * reinterpret_cast<uintptr_t>(ctxData);
    return static_cast<size_t>(mixed * kSpread >> (64 - TimerList::kBucketBits));
}

const Event *find(const TimerList &list, UtilTmrFunc func, const void *ctxData) {
    const Event *event = list.buckets[bucketOf(func, ctxData)];
    while (event != nullptr && (event->func != func || event->ctxData != ctxData)) {
        event = event->sameBucket;
    }
    return event;
}

bool isEarlier(const UtilTimestamp &a, const UtilTimestamp &b) {
    const auto key = [](const UtilTimestamp &tms) { return uint64_t{tms.sec} << 32 | tms.nsec; };
    return key(a) < key(b);
}

UtilTimestamp now() {
    UtilTimestamp tms;
    utilTms_get(&tms);
    return tms;
}

// Filled in where it stays: a copy as one word would have to wait for its two halves, just written.
void setFromNow(UtilTimestamp &expiry, uint32_t ms) {
    utilTms_get(&expiry);
    utilTms_addMilliSeconds(&expiry, ms);
}

uint32_t remaining(const UtilTmrEvent &event, const UtilTimestamp &from) {
    return isEarlier(event.expireTms, from) ? 0 : utilTms_deltaInMilliSeconds(&event.expireTms, &from);
}

// The link behind the last event that is due no later than `expiry`.
UtilTmrEvent **placeFor(TimerList &list, const UtilTimestamp &expiry) {
    if (list.last != nullptr && !isEarlier(expiry, list.last->expireTms)) {
        return &list.last->next;
    }
    UtilTmrEvent **place = &list.events;
    while (*place != nullptr && !isEarlier(expiry, (*place)->expireTms)) {
        place = &(*place)->next;
    }
    return place;
}

void insert(TimerList &list, Event *event) {
    UtilTmrEvent **place = placeFor(list, event->expireTms);
    event->next = *place;
    *place = event;
    if (event->next == nullptr) {
        list.last = event;
    }
    list.numEvents++;
    Event *&bucket = list.buckets[bucketOf(event->func, event->ctxData)];
    event->sameBucket = bucket;
    bucket = event;
}

// Takes out the event behind `previous`, the first one for NULL.
vos::MemPtr<Event> remove(TimerList &list, UtilTmrEvent *previous) {
    UtilTmrEvent *&link = previous == nullptr ? list.events : previous->next;
    auto *event = static_cast<Event *>(link);
    link = event->next;
    if (link == nullptr) {
        list.last = previous;
    }
    list.numEvents--;
    Event **chained = &list.buckets[bucketOf(event->func, event->ctxData)];
    while (*chained != event) {
        chained = &(*chained)->sameBucket;
    }
    *chained = event->sameBucket;
    return vos::MemPtr<Event>{event};
}

}  // namespace

VosRet utilTmr_init(void **tmrHandle) {
    if (tmrHandle == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    auto list = vos::allocZeroed<TimerList>();
    if (!list) {
        VOS_DBG_ERROR("could not malloc mem for tmrHandle");
        return VOS_RET_NO_RESOURCE;
    }
    *tmrHandle = list.release();
    return VOS_RET_OK;
}

void utilTmr_cleanup(void **tmrHandle) {
    if (tmrHandle == nullptr) {
        return;
    }
    utilTmr_flush(*tmrHandle);
    for (Run *run = *tmrHandle == nullptr ? nullptr : listOf(*tmrHandle)->run; run != nullptr; run = run->outer) {
        run->listIsGone = true;
    }
    VOS_FREE(*tmrHandle);
    *tmrHandle = nullptr;
}

void utilTmr_flush(void *tmrHandle) {
    TimerList *list = listOf(tmrHandle);
    while (list != nullptr && list->events != nullptr) {
        remove(*list, nullptr);
    }
}

VosRet utilTmr_set(void *tmrHandle, UtilTmrFunc func, void *ctxData, uint32_t ms, const char *name) {
    if (tmrHandle == nullptr || func == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    TimerList *list = listOf(tmrHandle);
    if (find(*list, func, ctxData) != nullptr) {
        VOS_DBG_ERROR("There is already an event func %p ctxData %p", reinterpret_cast<void *>(func), ctxData);
        return VOS_RET_BAD_ARG;
    }
    const size_t nameLen = name == nullptr ? 0 : strnlen(name, UTIL_TMR_NAME_LEN);
    if (nameLen >= UTIL_TMR_NAME_LEN) {
        VOS_DBG_ERROR("name of timer event is too long, max %d", UTIL_TMR_NAME_LEN);
        return VOS_RET_BAD_ARG;
    }
    auto event = vos::allocZeroed<Event>();
    if (!event) {
        VOS_DBG_ERROR("malloc of new timer event failed");
        return VOS_RET_NO_RESOURCE;
    }
    setFromNow(event->expireTms, ms);
    event->func = func;
    event->ctxData = ctxData;
    if (nameLen != 0) {
        memcpy(event->name, name, nameLen);
    }
    insert(*list, event.release());
    return VOS_RET_OK;
}

void utilTmr_cancel(void *tmrHandle, UtilTmrFunc func, void *ctxData) {
    if (tmrHandle == nullptr) {
        return;
    }
    TimerList *list = listOf(tmrHandle);
    const Event *wanted = find(*list, func, ctxData);
    if (wanted == nullptr) {
        return;
    }
    UtilTmrEvent *previous = nullptr;
    for (UtilTmrEvent *event = list->events; event != wanted; event = event->next) {
        previous = event;
    }
    remove(*list, previous);
}

VosRet utilTmr_replaceIfSooner(void *tmrHandle, UtilTmrFunc func, void *ctxData, uint32_t ms, const char *name) {
    if (tmrHandle == nullptr || func == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    if (const Event *present = find(*listOf(tmrHandle), func, ctxData)) {
        UtilTimestamp wanted;
        setFromNow(wanted, ms);
        if (!isEarlier(wanted, present->expireTms)) {
            return VOS_RET_OK;
        }
        // Contract: the context is NULL: an event with another one stays, and the set below reports it.
        utilTmr_cancel(tmrHandle, func, nullptr);
    }
    return utilTmr_set(tmrHandle, func, ctxData, ms, name);
}

VosRet utilTmr_getTimeToNextEvent(const void *tmrHandle, uint32_t *ms) {
    if (tmrHandle == nullptr || ms == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const UtilTmrEvent *first = listOf(tmrHandle)->events;
    if (first == nullptr) {
        *ms = UINT32_MAX;
        return VOS_RET_NOTHING_FOUND;
    }
    *ms = remaining(*first, now());
    return VOS_RET_OK;
}

VosRet utilTmr_getTimeRemaining(const void *tmrHandle, UtilTmrFunc func, void *ctxData, uint32_t *ms) {
    if (tmrHandle == nullptr || func == nullptr || ms == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const Event *event = find(*listOf(tmrHandle), func, ctxData);
    *ms = event == nullptr ? 0 : remaining(*event, now());
    return VOS_RET_OK;
}

uint32_t utilTmr_getNumberOfEvents(const void *tmrHandle) {
    return tmrHandle == nullptr ? 0 : listOf(tmrHandle)->numEvents;
}

bool utilTmr_isEventPresent(const void *tmrHandle, UtilTmrFunc func, void *ctxData) {
    return tmrHandle != nullptr && find(*listOf(tmrHandle), func, ctxData) != nullptr;
}

void utilTmr_executeExpiredEvents(void *tmrHandle) {
    if (tmrHandle == nullptr) {
        return;
    }
    TimerList *list = listOf(tmrHandle);
    const UtilTimestamp start = now();
    Run run{list->run, false};
    list->run = &run;
    // A callback may have changed the list in any way, so every turn begins at its head again.
    while (list->events != nullptr && isEarlier(list->events->expireTms, start)) {
        const vos::MemPtr<Event> event = remove(*list, nullptr);
        event->func(event->ctxData);
        if (run.listIsGone) {
            return;
        }
    }
    list->run = run.outer;
}

// Contract: the walk computes what each event has left and writes nothing; a debugger stops in it.
void utilTmr_dumpEvents(const void *tmrHandle) {
    if (tmrHandle == nullptr) {
        return;
    }
    const UtilTimestamp start = now();
    for (const UtilTmrEvent *event = listOf(tmrHandle)->events; event != nullptr; event = event->next) {
        [[maybe_unused]] const volatile uint32_t ms = remaining(*event, start);
    }
}
