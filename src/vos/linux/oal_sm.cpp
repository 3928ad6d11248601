// System V shared memory.
#include <sys/shm.h>

#include "internal/dbg.h"
#include "vos/sm.h"

VosRet oalVosSm_creat(uint32_t key, uint32_t size, int32_t *shmId, void **addr) {
    if (shmId == nullptr || addr == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    *shmId = shmget(static_cast<key_t>(key), size, IPC_CREAT | 0666);
    if (*shmId < 0) {
        VOS_DBG_ERROR("creat share memory faile,key %x size %x", key, size);
        return VOS_RET_NO_RESOURCE;
    }
    void *attached = shmat(*shmId, nullptr, 0);
    if (attached == reinterpret_cast<void *>(-1)) {
        oalVosSm_delete(static_cast<uint32_t>(*shmId));
        VOS_DBG_ERROR("shmat fail key %x", key);
        return VOS_RET_ERROR;
    }
    *addr = attached;
    return VOS_RET_OK;
}

VosRet oalVosSm_cleanup(void *addr) {
    if (shmdt(addr) != 0) {
        VOS_DBG_ERROR("shmdt addr %x fail", static_cast<uint32_t>(reinterpret_cast<uintptr_t>(addr)));
        return VOS_RET_SYS_REFUSED;
    }
    return VOS_RET_OK;
}

VosRet oalVosSm_delete(uint32_t shmId) {
    if (shmctl(static_cast<int>(shmId), IPC_RMID, nullptr) != 0) {
        VOS_DBG_ERROR("shmctl delete fail %x", shmId);
        return VOS_RET_SYS_REFUSED;
    }
    return VOS_RET_OK;
}
