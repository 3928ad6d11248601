// Opening and closing the daemon log of a process.
#include "vos/log.h"

#include "internal/cut_text.h"
#include "vos/eid.h"
#include "vos/log/parts.h"
#include "vos/plugin_info.h"

namespace vos::log {

constinit State g_state;

namespace {

constexpr size_t kNameSize = 64;

// The name under which the process of `eid` is known; empty when its plug-in has none.
void resolveName(VosEntityId eid, char (&name)[kNameSize]) {
    if (UTIL_pluginGetName(name, sizeof name) == VOS_RET_OK ||
        vosEid_getAppName(name, sizeof name, eid) == VOS_RET_OK) {
        return;
    }
    CutText{name}.text("EID").number(eid);
}

FILE *createFile(VosEntityId eid) {
    if (eid == 0) {
        printf("%s:%d Invalid eid\n", "vosLog_create", __LINE__);
        return nullptr;
    }
    return openFile(eid);
}

}  // namespace

}  // namespace vos::log

using vos::log::g_state;

void vosLog_init(VosEntityId eid) {
    // Name and stream of an earlier init stay allocated: somebody may still hold them.
    g_state.config = nullptr;
    g_state.file = nullptr;
    char name[vos::log::kNameSize] = "";
    vos::log::resolveName(eid, name);
    g_state.appName = vosMem_strdup(name[0] == '\0' ? "unknown" : name, __func__, __LINE__);
    LogSharedConfig *config = vos::log::attachSegment(name[0] == '\0' ? "unknown" : name);
    if (config == nullptr) {
        return;
    }
    g_state.config = config;
    g_state.eid = eid;
    vosLog_setLevel(VOS_LOG_LEVEL_ERROR);
    vosLog_setDestination(VOS_LOG_DEST_STDERR);
    vosLog_setMaxSize(VOS_LOG_DEFAULT_MAX_SIZE);
    g_state.headerMask = VOS_LOG_HDRMASK_ALL;
    oalLog_init();
    g_state.file = vos::log::createFile(eid);
}

void vosLog_cleanup() {
    vos::UniqueFile{g_state.file}.reset();
    g_state.file = nullptr;
    oalLog_cleanup();
    vosMem_free(g_state.appName, __func__, __LINE__);
    g_state.appName = nullptr;
}
