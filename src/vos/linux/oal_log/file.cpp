// The log file on disk: opening, rotating, emptying and printing.
#include "vos/log/parts.h"

#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace vos::log {

namespace {

constexpr const char *kFunction = "vosLog_create";
constexpr size_t kCommandSize = 2 * kPathSize;

// Runs a command whose outcome changes nothing for the caller.
void runShell(const char *command) {
    [[maybe_unused]] const int ignored = system(command);
}

}  // namespace

FILE *openFile(VosEntityId eid) {
    if (access(VOS_LOG_DIRECTORY, F_OK) != 0 && mkdir(VOS_LOG_DIRECTORY, 0777) != 0) {
        printf("%s:%d Mkdir log dir failed for eid 0x%x(%s)\n", kFunction, __LINE__, eid, strerror(errno));
        return nullptr;
    }
    char path[kPathSize];
    filePath(path, eid, false);
    FILE *file = fopen(path, "abe");
    if (file == nullptr) {
        printf("%s:%d Open log file failed for eid 0x%x(%s)\n", kFunction, __LINE__, eid, strerror(errno));
    }
    return file;
}

void rotateFile(FILE *file, VosEntityId eid) {
    fflush(file);
    fsync(fileno(file));
    char command[kCommandSize];
    snprintf(command, sizeof command, "cp -f %s/%u.log %s/%u.log.0", VOS_LOG_DIRECTORY, eid, VOS_LOG_DIRECTORY, eid);
    runShell(command);
    emptyFile(file);
}

bool emptyFile(FILE *file) {
    rewind(file);
    return ftruncate(fileno(file), 0) == 0;
}

void printFile(const char *path) {
    if (access(path, F_OK) != 0) {
        return;
    }
    char command[kCommandSize];
    snprintf(command, sizeof command, "cat %s", path);
    fflush(stdout);  // cat writes behind what the process has printed
    runShell(command);
}

}  // namespace vos::log
