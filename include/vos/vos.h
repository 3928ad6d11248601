/** @file
 *  Everything at once.
 */
#ifndef VOS_VOS_H
#define VOS_VOS_H

#include "vos/addr.h"
#include "vos/base.h"
#include "vos/cli.h"
#include "vos/codec.h"
#include "vos/dbg.h"
#include "vos/digest.h"
#include "vos/dns.h"
#include "vos/eid.h"
#include "vos/fil.h"
#include "vos/hashmap.h"
#include "vos/img.h"
#include "vos/list.h"
#include "vos/load.h"
#include "vos/log.h"
#include "vos/lzw.h"
#include "vos/mem.h"
#include "vos/msg.h"
#include "vos/msg_types.h"
#include "vos/netif.h"
#include "vos/netns.h"
#include "vos/nfc.h"
#include "vos/password.h"
#include "vos/plugin.h"
#include "vos/plugin_info.h"
#include "vos/pool.h"
#include "vos/prctl.h"
#include "vos/request.h"
#include "vos/ret.h"
#include "vos/ret_text.h"
#include "vos/sem.h"
#include "vos/sm.h"
#include "vos/srpc.h"
#include "vos/task.h"
#include "vos/text.h"
#include "vos/tmr.h"
#include "vos/tms.h"
#include "vos/utf8.h"
#include "vos/vector.h"
#include "vos/xml.h"

/* Families that a firmware may have left out. */
#if __has_include("vos/gb18030.h")
#include "vos/gb18030.h"
#endif
#if __has_include("vos/security.h")
#include "vos/security.h"
#endif

#endif
