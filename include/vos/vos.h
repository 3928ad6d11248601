/** @file
 *  Everything at once.
 */
#ifndef VOS_VOS_H
#define VOS_VOS_H

#include "vos/base.h"
#include "vos/dbg.h"
#include "vos/mem.h"
#include "vos/msg.h"
#include "vos/msg_types.h"
#include "vos/pool.h"
#include "vos/ret.h"

#endif
