// Redirection of the standard descriptors to a terminal, by its path or to that of the last login.
#include "vos/log.h"

#include "vos/log/parts.h"

namespace {

bool isMissing(const char *path) {
    return path == nullptr || path[0] == '\0';
}

}  // namespace

VosRet vosLog_stdRedirect(const char *ttyPath) {
    if (isMissing(ttyPath)) {
        return VOS_RET_BAD_ARG;
    }
    return vos::log::redirectStandards(ttyPath);
}

VosRet vosLog_stdRevert() {
    vos::log::revertStandards();
    return VOS_RET_OK;
}

VosRet vosLog_saveLastPty(const char *ttyName) {
    if (isMissing(ttyName)) {
        return VOS_RET_BAD_ARG;
    }
    vos::log::linkLastTerminal(ttyName);
    return VOS_RET_OK;
}

VosRet vosLog_stdToLastPty() {
    if (!vos::log::trustsLastTerminal()) {
        return VOS_RET_NO_RESOURCE;
    }
    return vosLog_stdRedirect(VOS_LOG_LAST_PTY);
}
