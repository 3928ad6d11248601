/** @file
 *  System V shared-memory segments.
 *
 *  The caller chooses the keys. A segment lives from its first vosSm_creat() to vosSm_delete(). Every function may be
 *  called from any thread. The oalVosSm_ functions are the layer below with the same behaviour.
 */
#ifndef VOS_SM_H
#define VOS_SM_H

#include "vos/ret.h"

VOS_BEGIN_DECLS

/** Creates or opens the segment of @p key (mode 0666) and attaches it where the kernel chooses.
 *
 *  @param size   bytes; an existing segment must be at least as large
 *  @param shmId  receives the segment's identifier, -1 when it could not be had
 *  @param addr   receives the address, released with vosSm_cleanup(); untouched on failure
 *  @return VOS_RET_OK; VOS_RET_NO_RESOURCE when the segment cannot be had; VOS_RET_ERROR when it cannot be attached,
 *          the segment is then removed; VOS_RET_BAD_ARG for a NULL output
 */
VosRet vosSm_creat(uint32_t key, uint32_t size, int32_t *shmId, void **addr);

/** Detaches a segment from this process: VOS_RET_OK, or VOS_RET_SYS_REFUSED when @p addr is no attached segment. */
VosRet vosSm_cleanup(void *addr);

/** Removes a segment; it disappears with its last attachment. VOS_RET_OK or VOS_RET_SYS_REFUSED. */
VosRet vosSm_delete(uint32_t shmId);

VosRet oalVosSm_creat(uint32_t key, uint32_t size, int32_t *shmId, void **addr); /**< see vosSm_creat() */
VosRet oalVosSm_cleanup(void *addr);                                             /**< see vosSm_cleanup() */
VosRet oalVosSm_delete(uint32_t shmId);                                          /**< see vosSm_delete() */

VOS_END_DECLS

#endif
