// Timers of which the hub is told, so that it sends a message when they are due.
#include <cstdint>

#include "internal/dbg.h"
#include "vos/request.h"
#include "vos/tmr.h"

namespace {

// What the hub knows a delayed message by.
uint32_t wordOf(UtilTmrFunc func, const void *ctxData) {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(func) | reinterpret_cast<uintptr_t>(ctxData));
}

}  // namespace

VosRet utilMsgTmr_set(VosMsgHandle *msgHandle, void *tmrHandle, UtilTmrFunc func, void *ctxData, uint32_t ms,
                      const char *name) {
    VosRet ret = utilTmr_set(tmrHandle, func, ctxData, ms, name);
    if (ret != VOS_RET_OK) {
        VOS_DBG_ERROR("Fail to set timer !");
        return ret;
    }
    ret = UTIL_sendRequestToHubd(msgHandle, VOS_MSG_REGISTER_DELAYED_MSG, wordOf(func, ctxData),
                                 reinterpret_cast<const uint8_t *>(&ms), sizeof ms);
    if (ret != VOS_RET_OK) {
        // Contract: the event stays set; the daemon's own loop still runs it.
        VOS_DBG_ERROR("Fail to send VOS_MSG_REGISTER_DELAYED_MSG(ret=%d)", static_cast<int>(ret));
    }
    return ret;
}

void utilMsgTmr_cancel(VosMsgHandle *msgHandle, void *tmrHandle, UtilTmrFunc func, void *ctxData) {
    if (tmrHandle == nullptr || func == nullptr) {
        return;
    }
    utilTmr_cancel(tmrHandle, func, ctxData);
    if (msgHandle == nullptr) {
        return;
    }
    const VosRet ret =
        UTIL_sendRequestToHubd(msgHandle, VOS_MSG_UNREGISTER_DELAYED_MSG, wordOf(func, ctxData), nullptr, 0);
    if (ret != VOS_RET_OK) {
        VOS_DBG_ERROR("Fail to send VOS_MSG_UNREGISTER_DELAYED_MSG, ret = %d", static_cast<int>(ret));
    }
}

bool utilMsgTmr_isEventPresent(const void *tmrHandle, UtilTmrFunc func, void *ctxData) {
    return utilTmr_isEventPresent(tmrHandle, func, ctxData);
}

void utilMsgTmr_executeExpiredEvents(void *tmrHandle) {
    utilTmr_executeExpiredEvents(tmrHandle);
}
