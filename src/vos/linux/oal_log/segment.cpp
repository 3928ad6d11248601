// The System V segment that holds the settings of a process's log.
#include "vos/log/parts.h"

#include <sys/shm.h>
#include <cerrno>
#include <cstring>

#include "internal/regular_file.h"

namespace vos::log {

namespace {

// Longer than any name that fits a file name.
constexpr size_t kKeyPathSize = 256;

// The segment under `key`, found or made; -1 when it cannot be had.
int findSegment(key_t key) {
    const int existing = shmget(key, 0, 0);
    return existing >= 0 ? existing : shmget(key, sizeof(LogSharedConfig), IPC_CREAT | IPC_EXCL | 0666);
}

bool isLargeEnough(int id) {
    shmid_ds info;
    return shmctl(id, IPC_STAT, &info) == 0 && info.shm_segsz >= sizeof(LogSharedConfig);
}

}  // namespace

LogSharedConfig *attachSegment(const char *name) {
    constexpr const char *kFunction = "vosLog_init";
    char path[kKeyPathSize];
    snprintf(path, sizeof path, VOS_LOG_KEY_FILE, name);
    if (!openOrMakeRegular(AT_FDCWD, path, O_WRONLY | O_APPEND)) {
        printf("%s:%d:fopen %s error, %s\n", kFunction, __LINE__, path, strerror(errno));
        return nullptr;
    }
    const int id = findSegment(ftok(path, VOS_LOG_KEY_ID));
    if (id < 0) {
        printf("%s:%d:eid=%s, shmget fail\n", kFunction, __LINE__, name);
        return nullptr;
    }
    // A foreign segment may be shorter than what is read and written here.
    void *attached = isLargeEnough(id) ? shmat(id, nullptr, 0) : reinterpret_cast<void *>(-1);
    if (attached == reinterpret_cast<void *>(-1)) {
        printf("%s:%d:eid=%s, shmat fail\n", kFunction, __LINE__, name);
        return nullptr;
    }
    return static_cast<LogSharedConfig *>(attached);
}

}  // namespace vos::log
