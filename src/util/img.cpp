// Whether a daemon runs, and the image calls that have a fixed answer on this platform.
#include "vos/img.h"

#include "internal/dbg.h"
#include "vos/request.h"

int vosImg_isAppRunning(VosMsgHandle *handle, VosEntityId eid) {
    VOS_DBG_DEBUG("Enter>, eid = %u", eid);
    return UTIL_sendRequestToHubd(handle, VOS_MSG_IS_APP_RUNNING, eid, nullptr, 0) == VOS_RET_OK ? 1 : 0;
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
