// What the files of the daemon log share: the state of the process and the pieces an entry passes through.
#ifndef VOS_LOG_PARTS_H
#define VOS_LOG_PARTS_H

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

inline constexpr size_t kNameSize = 64;
inline constexpr size_t kPathSize = 128;

/** The name under which the process of `eid` is known; empty when its plug-in has none. */
void resolveName(VosEntityId eid, char (&name)[kNameSize]);

/** Attaches the segment of `name`, creates it where missing; NULL with the reason on standard output. */
LogSharedConfig *attachSegment(const char *name);

/** Path of an entity's log file or, with `older`, of the generation before it. */
void filePath(char (&path)[kPathSize], VosEntityId eid, bool older);
/** Opens an entity's log file, creates the directory where missing; NULL with the reason on standard output. */
FILE *openFile(VosEntityId eid);
/** Copies the file to the older generation and empties it. */
void rotateFile(FILE *file, VosEntityId eid);
/** Empties an open log file; false with errno. */
bool emptyFile(FILE *file);
/** Prints a file to standard output through cat. */
void printFile(const char *path);
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

}  // namespace vos::log

#endif
