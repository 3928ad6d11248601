// The log file of a process: writing, rotation by position, showing and clearing.
#include "vos/log.h"

#include <cerrno>
#include <cstring>
#include <initializer_list>

#include "internal/guards.h"
#include "vos/log/parts.h"

namespace vos::log {

void writeToFile(bool appendNewline, const char *text) {
    FILE *file = g_state.file;
    if (file == nullptr || g_state.eid == 0) {
        return;
    }
    // A second thread must not copy the file that this one has just emptied over the old entries.
    flockfile(file);
    const Scope unlock{[&] { funlockfile(file); }};
    const long position = ftell(file);
    if (position >= 0 && static_cast<unsigned long>(position) >= vosLog_getMaxSize()) {
        rotateFile(file, g_state.eid);
    }
    fprintf(file, appendNewline ? "%s\n" : "%s", text);
    fflush(file);
}

}  // namespace vos::log

using vos::log::g_state;

void vosLog_show(VosEntityId eid) {
    if (eid == 0) {
        printf("%s:%d Invalid eid\n", __func__, __LINE__);
        return;
    }
    for (const bool older : {true, false}) {
        vos::log::printFile(eid, older);
    }
}

void vosLog_clear(VosEntityId eid) {
    if (eid == 0) {
        printf("%s:%d Invalid eid\n", __func__, __LINE__);
        return;
    }
    vos::log::removeOlder(eid);
    // Contract: the current file emptied is the caller's own, whatever eid is passed.
    FILE *file = g_state.file;
    if (file == nullptr) {
        return;
    }
    flockfile(file);
    const vos::Scope unlock{[&] { funlockfile(file); }};
    if (!vos::log::emptyFile(file)) {
        printf("%s:%d ftruncate failed(%s)\n", __func__, __LINE__, strerror(errno));
    }
}
