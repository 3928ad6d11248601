// What the files of the daemon log share: the state of the process and the pieces an entry passes through.
//
//     init.cpp      vosLog_init, vosLog_cleanup
//     entry.cpp     log_log, vosLog_vprintf, vosLog_printf, vosSyslog_info, vosLog_security
//     settings.cpp  vosLog_set…, vosLog_get…, vosLog_cache: what lies in the segment
//     file.cpp      vosLog_show, vosLog_clear
//     hexdump.cpp   vosLog_hexDump
//     redirect.cpp  vosLog_std…, vosLog_saveLastPty
//     format.cpp    texts that other loggers take as a format
//
// and below them, in src/vos/linux/oal_log, what speaks to the kernel: segment, file, syslog (oalLog_…), terminal, and
// a destination each in console.cpp and android.cpp, the rest in destination.cpp.
#pragma once

#include <cstdio>

#include "internal/guards.h"
#include "vos/log.h"

namespace vos::log {

struct State {
    LogSharedConfig *config = nullptr;
    uint32_t headerMask = VOS_LOG_HDRMASK_ALL;
    VosEntityId eid = 0;
    FILE *file = nullptr;
    char *appName = nullptr;
};
extern State g_state;

/** Fields of the segment change under the reader's hands: each is read once, then judged. */
inline uint32_t read(const uint32_t &field) {
    return __atomic_load_n(&field, __ATOMIC_RELAXED);
}
inline void write(uint32_t &field, uint32_t value) {
    __atomic_store_n(&field, value, __ATOMIC_RELAXED);
}

inline const char *appName() {
    return g_state.appName == nullptr ? "unknown" : g_state.appName;
}

/** Attaches the segment of `name`, creates it where missing; NULL with the reason on standard output. */
LogSharedConfig *attachSegment(const char *name);

/** Opens an entity's log file, creates the directory where missing; NULL with the reason on standard output. */
FILE *openFile(VosEntityId eid);
/** Copies the file to the older generation and empties it. */
void rotateFile(FILE *file, VosEntityId eid);
/** Empties an open log file; false with errno. */
bool emptyFile(FILE *file);
/** Removes the older generation. */
void removeOlder(VosEntityId eid);
/** Prints an entity's log file or, with `older`, the generation before it, to standard output. */
void printFile(VosEntityId eid, bool older);
/** Writes to the process's log file, if there is one, and rotates it when due. */
void writeToFile(bool appendNewline, const char *text);

void recordCallSite(LogSharedConfig *config, const char *func, uint32_t line);

/** What printf makes of a format without arguments: "%%" and "%m" replaced, every other '%' kept. Empty where that is
 *  the text itself, and when memory is short. */
MemPtr<char> readAsFormat(const char *text);

void writeToStderr(uint32_t level, bool appendNewline, const char *text);
void writeToSyslog(uint32_t level, bool appendNewline, const char *text);
void writeToTty(uint32_t level, bool appendNewline, const char *text);
void writeToAndroid(uint32_t level, bool appendNewline, const char *text);
void writeToConsole(uint32_t level, bool appendNewline, const char *text);

/** Puts a terminal in the place of the standard descriptors; see vosLog_stdRedirect(). */
VosRet redirectStandards(const char *ttyPath);
void revertStandards();
/** Points the link of the last login to a terminal, whatever stands in its place. */
void linkLastTerminal(const char *ttyName);
/** Whether what stands in the link's place is root's or this user's own, as it must be before it is written to. */
bool trustsLastTerminal();

}  // namespace vos::log
