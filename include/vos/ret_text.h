/** @file
 *  What a return code means, in words. All of it stands in this header.
 */
#ifndef VOS_RET_TEXT_H
#define VOS_RET_TEXT_H

#include "vos/ret.h"

/** A short text for a return code; never NULL. A number that is none gives "result of the peer", which it is where a
 *  request's result comes back through the same value. */
static inline const char *vos_retText(VosRet ret) {
    switch (ret) {
        case VOS_RET_OK:
            return "success";
        case VOS_RET_SYS_REFUSED:
            return "the system refused";
        case VOS_RET_ERROR:
            return "error";
        case VOS_RET_BAD_ARG:
            return "bad argument";
        case VOS_RET_NO_RESOURCE:
            return "out of memory or room";
        case VOS_RET_BAD_VALUE:
            return "text cannot be converted";
        case VOS_RET_UNKNOWN_NAME:
            return "unknown name";
        case VOS_RET_NOTHING_FOUND:
            return "nothing found";
        case VOS_RET_INTERRUPTED:
            return "interrupted by a signal";
        case VOS_RET_TIMEOUT:
            return "timed out";
        case VOS_RET_PEER_GONE:
            return "peer is gone";
        case VOS_RET_OPEN_FAILED:
            return "cannot be opened";
        case VOS_RET_NOT_IN_LIST:
            return "not in the list";
        case VOS_RET_WOULD_BLOCK:
            return "would block";
        default:
            return "result of the peer";
    }
}

#endif
