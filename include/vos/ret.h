/** @file
 *  The status that nearly every function of the library returns.
 */
#ifndef VOS_RET_H
#define VOS_RET_H

#include "vos/base.h"

/** 0 is success; every failure is one of the VOS_RET_ values below. */
typedef uint32_t VosRet;

enum {
    VOS_RET_OK = 0,               /**< success */
    VOS_RET_SYS_REFUSED = 9001,   /**< the operating system refused to release a segment or semaphore */
    VOS_RET_ERROR = 9002,         /**< generic failure: socket, connect, short write, bad read, thread creation */
    VOS_RET_BAD_ARG = 9003,       /**< a required pointer is NULL or an argument is out of range */
    VOS_RET_NO_RESOURCE = 9004,   /**< an allocation failed, or the caller's buffer is too small */
    VOS_RET_BAD_VALUE = 9007,     /**< a text could not be converted */
    VOS_RET_UNKNOWN_NAME = 9801,  /**< an entity name or mask bit is not in the entity table */
    VOS_RET_NOTHING_FOUND = 9804, /**< nothing (more) to return */
    VOS_RET_INTERRUPTED = 9808,   /**< a semaphore wait was interrupted by a signal */
    VOS_RET_TIMEOUT = 9809,       /**< a wait for data, a reply or a child process ran out of time */
    VOS_RET_PEER_GONE = 9810,     /**< the socket's peer is gone */
    VOS_RET_OPEN_FAILED = 9818,   /**< a file could not be opened or a name could not be read */
    VOS_RET_NOT_IN_LIST = 9840,   /**< no element matched in a list or array */
    VOS_RET_WOULD_BLOCK = 9865    /**< a write to the socket would have had to wait */
};

#endif
