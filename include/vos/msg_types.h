/** @file
 *  The message header and the codes on the wire.
 *
 *  A message is one block: a VosMsgHeader directly followed by dataLength payload bytes. The same block is used in
 *  memory and on the socket to the hub; both ends run on one machine, so all fields are in its own byte order.
 *
 *  A sender allocates the block (zero-filled), fills it, hands it to a send function and frees it afterwards; sending
 *  never takes ownership. A receiver owns the block that a receive function gives it and frees it with vosMem_free.
 */
#ifndef VOS_MSG_TYPES_H
#define VOS_MSG_TYPES_H

#include "vos/base.h"

/** Entity id: the address of a process. 0 is nobody. */
typedef uint32_t VosEntityId;

enum {
    EID_HUBD = 20,  /**< the hub, hubd */
    EID_GUARDD = 21 /**< guardd */
};

/** Header of every message, the wire format. */
typedef struct VosMsgHeader {
    uint32_t type;             /**< message type code, VOS_MSG_… */
    uint32_t src;              /**< entity id of the sender */
    uint32_t dst;              /**< entity id of the receiver */
    uint16_t flags;            /**< VOS_MSG_FLAG_… */
    uint16_t sequenceNumber;   /**< 0 in every message the library builds; never tested */
    struct VosMsgHeader *next; /**< link while a message waits in a queue of this process; meaningless on the wire */
    uint32_t wordData;         /**< one word of data: a result in replies, an identifier elsewhere */
    uint32_t dataLength;       /**< payload bytes that follow the header */
} VosMsgHeader;
VOS_STATIC_ASSERT(sizeof(VosMsgHeader) == 32, "header is the wire format");
VOS_STATIC_ASSERT(offsetof(VosMsgHeader, type) == 0, "header is the wire format");
VOS_STATIC_ASSERT(offsetof(VosMsgHeader, src) == 4, "header is the wire format");
VOS_STATIC_ASSERT(offsetof(VosMsgHeader, dst) == 8, "header is the wire format");
VOS_STATIC_ASSERT(offsetof(VosMsgHeader, flags) == 12, "header is the wire format");
VOS_STATIC_ASSERT(offsetof(VosMsgHeader, sequenceNumber) == 14, "header is the wire format");
VOS_STATIC_ASSERT(offsetof(VosMsgHeader, next) == 16, "header is the wire format");
VOS_STATIC_ASSERT(offsetof(VosMsgHeader, wordData) == 24, "header is the wire format");
VOS_STATIC_ASSERT(offsetof(VosMsgHeader, dataLength) == 28, "header is the wire format");

/** Flag bits of VosMsgHeader.flags. */
enum {
    VOS_MSG_FLAG_EVENT = 0x01,    /**< one-way notification, no reply expected */
    VOS_MSG_FLAG_REQUEST = 0x02,  /**< the sender waits for a reply of the same type */
    VOS_MSG_FLAG_RESPONSE = 0x04, /**< a reply; wordData is the result */
    VOS_MSG_FLAG_REQUEUE = 0x08,  /**< asks the hub to hand the message back to the process named in it */
    VOS_MSG_FLAG_KEEP = 0x10,     /**< set by callers; the only flag that a reply takes over */
    VOS_MSG_FLAG_SRPC = 0x20      /**< wordData is an SRPC id; the reply carries flag and id too */
};

/** Message types that the library sends or recognises. */
enum {
    VOS_MSG_SYSTEM_TASK_FINISH = 0x00000013,        /**< a background task is done; process to itself */
    VOS_MSG_LAUNCHED = 0x10000251,                  /**< first message of a process to the hub */
    VOS_MSG_REGISTER_DELAYED_MSG = 0x10000800,      /**< payload: u32 delay in milliseconds */
    VOS_MSG_UNREGISTER_DELAYED_MSG = 0x10000801,    /**< wordData as at registration */
    VOS_MSG_REGISTER_EVENT_INTEREST = 0x10000802,   /**< wordData and payload from the caller */
    VOS_MSG_UNREGISTER_EVENT_INTEREST = 0x10000803, /**< wordData and payload from the caller */
    VOS_MSG_IS_APP_RUNNING = 0x1000080b,            /**< wordData: entity id; reply 0 means running */
    VOS_MSG_REQUEUE_WAKEUP = 0x10000830,            /**< wakes a process whose put-back queue is not empty */
    VOS_MSG_RESEND_REQUEST = 0x10000831,            /**< src came back: send the waiting request to it again */
    VOS_MSG_HEARTBEAT = 0x10000832,                 /**< header only, no flag */
    VOS_MSG_STOP_WATCHDOG = 0x10000834,             /**< header only, no flag */
    VOS_MSG_REBOOT = 0x10000850,                    /**< request, no payload */
    VOS_MSG_SAVE_LOG_TO_FLASH = 0x10002c07,         /**< to entity 30, no payload */
    VOS_MSG_ADD_ENTITY_INFO = 0x10003620,           /**< payload: 444 bytes of entity description */
    VOS_MSG_DEL_ENTITY_INFO = 0x10003621,           /**< payload: entity name with its NUL */
    VOS_MSG_GET_EID_BY_APP_NAME = 0x10003627,       /**< payload: name with its NUL; reply wordData: entity id */
    VOS_MSG_PLUGIN_SET_PARAMETER = 0x1000700b,      /**< set-parameter event to a plug-in */
    VOS_MSG_GET_PLUGIN_CFG_DIR = 0x10009130         /**< wordData 0: data directory, 1: temporary directory */
};

#endif
