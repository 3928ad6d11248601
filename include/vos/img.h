/** @file
 *  The state of the firmware image: whether a daemon of it runs, and calls that other platforms answer from their
 *  flash. On this one they have a fixed answer and are kept for the daemons that call them.
 */
#ifndef VOS_IMG_H
#define VOS_IMG_H

#include "vos/msg.h"

VOS_BEGIN_DECLS

/** Asks the hub whether an entity runs.
 *  @return 1; 0 when it does not, and when the hub cannot be asked or does not answer within five minutes */
int vosImg_isAppRunning(VosMsgHandle *handle, VosEntityId eid);
/** Whether a configuration file looks like one: always 1. */
int vosImg_isConfigFileLikely(void);
/** There is no such configuration: always NULL. */
void *vosImg_getVarSoftFeatureCfg(void);
/** There is no such configuration: always NULL. */
void *vosImg_getFactoryCfg(void);
/** There is no such configuration: always NULL. */
void *vosImg_getDefaultCfg(void);
/** There is no such configuration: always NULL. */
void *vosImg_getVarDefaultCfg(void);
/** Does nothing. */
void vosImg_sendLoadStartingMsg(void);
/** Does nothing. */
void vosImg_sendLoadDoneMsg(void);
/** Does nothing. */
void vosImg_getSoftFeatureCfg(void);

VOS_END_DECLS

#endif
