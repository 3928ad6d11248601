// Shared-memory segments: the public names.
#include "vos/sm.h"

VosRet vosSm_creat(uint32_t key, uint32_t size, int32_t *shmId, void **addr) {
    return oalVosSm_creat(key, size, shmId, addr);
}

VosRet vosSm_cleanup(void *addr) {
    return oalVosSm_cleanup(addr);
}

VosRet vosSm_delete(uint32_t shmId) {
    return oalVosSm_delete(shmId);
}
