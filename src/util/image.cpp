// Whether a daemon runs, saving the log, and the image helpers that have a fixed answer on this platform.
#include "vos/dbg.h"
#include "vos/request.h"

namespace {

constexpr VosEntityId kLogSaver = 30;

}  // namespace

int vosImg_isAppRunning(VosMsgHandle *handle, VosEntityId eid) {
    VOS_DBG_DEBUG("Enter>, eid = %u", eid);
    return UTIL_sendRequestToHubd(handle, VOS_MSG_IS_APP_RUNNING, eid, nullptr, 0) == VOS_RET_OK ? 1 : 0;
}

VosRet util_saveLogToFlash(VosMsgHandle *handle) {
    if (vosImg_isAppRunning(handle, kLogSaver) == 0) {
        return VOS_RET_OK;
    }
    VosMsgHeader msg{};
    msg.type = VOS_MSG_SAVE_LOG_TO_FLASH;
    msg.src = vosMsg_getHandleEid(handle);
    msg.dst = kLogSaver;
    msg.flags = VOS_MSG_FLAG_REQUEST;
    return vosMsg_send(handle, &msg);
}

int vosImg_isConfigFileLikely(void) {
    return 1;
}

void *vosImg_getVarSoftFeatureCfg(void) {
    return nullptr;
}

void *vosImg_getFactoryCfg(void) {
    return nullptr;
}

void *vosImg_getDefaultCfg(void) {
    return nullptr;
}

void *vosImg_getVarDefaultCfg(void) {
    return nullptr;
}

void vosImg_sendLoadStartingMsg(void) {}

void vosImg_sendLoadDoneMsg(void) {}

void vosImg_getSoftFeatureCfg(void) {}

void koraTms_get(UtilTimestamp *) {}

uint32_t koraTms_deltaInMilliSeconds(const UtilTimestamp *, const UtilTimestamp *) {
    return 0;
}
