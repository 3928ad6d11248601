// The lock between processes: the public names.
#include "vos/sem.h"

VosRet vosSem_init(uint32_t key, bool attachExisting, int32_t *semId) {
    return oalVosSem_init(key, attachExisting, semId);
}

VosRet vosSem_lock(uint32_t semId, const uint32_t *timeoutMs) {
    return oalVosSem_lock(semId, timeoutMs);
}

VosRet vosSem_unlock(uint32_t semId) {
    return oalVosSem_unlock(semId);
}

VosRet vosSem_cleanup(uint32_t semId) {
    return oalVosSem_cleanup(semId);
}
