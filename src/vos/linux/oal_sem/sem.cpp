// The System V semaphore behind the lock between processes.
#include <sys/sem.h>
#include <cerrno>
#include <cstring>

#include "internal/dbg.h"
#include "vos/sem.h"
#include "vos/tms.h"

namespace {

union SemArgument {
    int val;
    struct semid_ds *buf;
    unsigned short *array;
};

// A semtimedop that hands out the error number instead of -1 is understood too.
constexpr int kInterrupted = 4;
constexpr int kTimedOut = 11;

int attemptLock(int semId, const uint32_t *timeoutMs) {
    sembuf waitThenTake[] = {{.sem_num = 0, .sem_op = 0, .sem_flg = 0},
                             {.sem_num = 0, .sem_op = 1, .sem_flg = SEM_UNDO}};
    if (timeoutMs == nullptr) {
        return semop(semId, waitThenTake, 2);
    }
    const timespec relative{.tv_sec = static_cast<time_t>(*timeoutMs / 1000),
                            .tv_nsec = static_cast<long>(*timeoutMs % 1000) * 1'000'000};
    // Contract: the loader decides whose it is: the program's, a preloaded library's, libc's or this library's.
    return semtimedop(semId, waitThenTake, 2, &relative);
}

// Waits through signals until the lock is taken, the time is up (kTimedOut) or the kernel refuses.
int waitForLock(int semId, const uint32_t *timeoutMs) {
    uint32_t remaining = timeoutMs == nullptr ? 0 : *timeoutMs;
    for (;;) {
        UtilTimestamp start{};
        if (timeoutMs != nullptr) {
            utilTms_get(&start);
        }
        const int rc = attemptLock(semId, timeoutMs == nullptr ? nullptr : &remaining);
        if (rc != kInterrupted && !(rc == -1 && errno == EINTR)) {
            return rc;
        }
        if (timeoutMs == nullptr) {
            continue;
        }
        UtilTimestamp now{};
        utilTms_get(&now);
        const uint32_t elapsed = utilTms_deltaInMilliSeconds(&now, &start);
        if (remaining <= elapsed) {
            return kTimedOut;  // errno still says EINTR: the caller learns of the signal
        }
        remaining -= elapsed;
    }
}

}  // namespace

VosRet oalVosSem_init(uint32_t key, bool attachExisting, int32_t *semId) {
    if (semId == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    *semId = semget(static_cast<key_t>(key), 1, attachExisting ? 0666 : IPC_CREAT | 0666);
    if (*semId < 0) {
        VOS_DBG_ERROR("semget failed,key=%x errno=%d", key, errno);
        return VOS_RET_ERROR;
    }
    if (attachExisting) {
        VOS_DBG_WARN("attach existing done, semid=%d", *semId);
        return VOS_RET_OK;
    }
    if (semctl(*semId, 0, SETVAL, SemArgument{.val = 0}) < 0) {
        VOS_DBG_ERROR("setctl setval 0 failed, errno=%d", errno);
        oalVosSem_cleanup(static_cast<uint32_t>(*semId));
        return VOS_RET_ERROR;
    }
    return VOS_RET_OK;
}

VosRet oalVosSem_lock(uint32_t semId, const uint32_t *timeoutMs) {
    const int id = static_cast<int>(semId);
    const int rc = waitForLock(id, timeoutMs);
    if (rc == 0) {
        return VOS_RET_OK;
    }
    if (errno == EINTR) {
        VOS_DBG_WARN("lock interrupted by signal");
        return VOS_RET_INTERRUPTED;
    }
    if (errno == EAGAIN || rc == kTimedOut) {
        // Whoever holds the lock longer than a waiter's time-out is presumed stuck and loses it.
        oalVosSem_unlock(semId);
        return attemptLock(id, timeoutMs) == 0 ? VOS_RET_OK : VOS_RET_ERROR;
    }
    VOS_DBG_ERROR("lock failed, errno=%d rc=%d", errno, rc);
    return VOS_RET_ERROR;
}

VosRet oalVosSem_unlock(uint32_t semId) {
    const int id = static_cast<int>(semId);
    const int value = semctl(id, 0, GETVAL);
    if (value != 1) {
        VOS_DBG_ERROR("kernel has semval=%d", value);
        utilAst_assertFunc(__FILE__, __LINE__, "0", 0);
    }
    sembuf give{.sem_num = 0, .sem_op = -1, .sem_flg = SEM_UNDO};
    if (semop(id, &give, 1) < 0) {
        VOS_DBG_ERROR("release lock failed, errno=%d", errno);
        return VOS_RET_ERROR;
    }
    return VOS_RET_OK;
}

VosRet oalVosSem_cleanup(uint32_t semId) {
    if (semctl(static_cast<int>(semId), 0, IPC_RMID) < 0) {
        VOS_DBG_ERROR("IPC_RMID failed, semId %x errno=%d, %s", semId, errno, strerror(errno));
        return VOS_RET_SYS_REFUSED;
    }
    VOS_DBG_WARN("Semid %d deleted.", static_cast<int>(semId));
    return VOS_RET_OK;
}
