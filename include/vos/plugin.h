/** @file
 *  Operator plug-ins: their names, the messages between a plug-in and the plug-in manager, and the files that the hub
 *  keeps for them.
 *
 *  A plug-in's name is a dotted text, in its operator form VOS_PLUGIN_OPERATOR_PREFIX "CUSTOMER.smartgateway.BASE". A
 *  name that contains ".all." belongs to all customers and is never rewritten.
 *
 *  A request or response is a message whose payload begins with the record below, native byte order, with each text's
 *  offset from the payload's start (0: absent) in the place of its pointer and the texts behind the record. Offsets and
 *  texts of received messages are checked against the message's length before anything is used.
 *
 *  The set-parameter registration is one per process, made at start-up and read by the thread that dispatches messages;
 *  nothing locks.
 */
#ifndef VOS_PLUGIN_H
#define VOS_PLUGIN_H

#include <stdio.h>

#include "vos/msg.h"

/** What every operator name begins with. */
#define VOS_PLUGIN_OPERATOR_PREFIX "com.operator."

/** A request to a plug-in or to the plug-in manager, which gives the codes their meaning. */
typedef struct {
    uint32_t cmdCode;       /**< command code */
    uint32_t ID;            /**< request identifier */
    uint32_t source;        /**< origin of the request */
    uint32_t sourceEid;     /**< entity id of the originator */
    const char *pluginName; /**< plug-in name, or NULL */
    const char *commonCtx;  /**< command text or parameters, or NULL */
} PluginReqMsg;

/** The response to a request. */
typedef struct {
    uint32_t cmdCode;       /**< as in the request */
    uint32_t ID;            /**< as in the request */
    uint32_t source;        /**< as in the request */
    uint32_t sourceEid;     /**< as in the request */
    int32_t retCode;        /**< result code */
    uint32_t reserved;      /**< 0 */
    const char *pluginName; /**< plug-in name, or NULL */
    char *retCtx;           /**< result text, or NULL */
} PluginRespMsg;

#if UINTPTR_MAX > UINT32_MAX
VOS_STATIC_ASSERT(sizeof(PluginReqMsg) == 32, "record is the payload's layout");
VOS_STATIC_ASSERT(offsetof(PluginReqMsg, cmdCode) == 0, "record is the payload's layout");
VOS_STATIC_ASSERT(offsetof(PluginReqMsg, ID) == 4, "record is the payload's layout");
VOS_STATIC_ASSERT(offsetof(PluginReqMsg, source) == 8, "record is the payload's layout");
VOS_STATIC_ASSERT(offsetof(PluginReqMsg, sourceEid) == 12, "record is the payload's layout");
VOS_STATIC_ASSERT(offsetof(PluginReqMsg, pluginName) == 16, "record is the payload's layout");
VOS_STATIC_ASSERT(offsetof(PluginReqMsg, commonCtx) == 24, "record is the payload's layout");
VOS_STATIC_ASSERT(sizeof(PluginRespMsg) == 40, "record is the payload's layout");
VOS_STATIC_ASSERT(offsetof(PluginRespMsg, cmdCode) == 0, "record is the payload's layout");
VOS_STATIC_ASSERT(offsetof(PluginRespMsg, ID) == 4, "record is the payload's layout");
VOS_STATIC_ASSERT(offsetof(PluginRespMsg, source) == 8, "record is the payload's layout");
VOS_STATIC_ASSERT(offsetof(PluginRespMsg, sourceEid) == 12, "record is the payload's layout");
VOS_STATIC_ASSERT(offsetof(PluginRespMsg, retCode) == 16, "record is the payload's layout");
VOS_STATIC_ASSERT(offsetof(PluginRespMsg, reserved) == 20, "record is the payload's layout");
VOS_STATIC_ASSERT(offsetof(PluginRespMsg, pluginName) == 24, "record is the payload's layout");
VOS_STATIC_ASSERT(offsetof(PluginRespMsg, retCtx) == 32, "record is the payload's layout");
#endif

/** Answers a set-parameter event: takes the parameters (may be NULL), returns a block of the memory manager that the
 *  library frees once the answer is sent, or NULL. */
typedef char *(*PluginSetParamFunc)(const char *commonCtx);

VOS_BEGIN_DECLS

/** @name Names
 *  Each takes the address of a name allocated with the memory manager and puts a new allocation in its place. Names
 *  without "com." or with ".all." stay, and so does the name when memory is short. The base is what follows the last
 *  dot. Always VOS_RET_OK.
 *  @{ */

/** Customer "marlow". */
VosRet UTIL_pluginCustormerNameToBase(char **name);
/** Customer @p customer. */
VosRet UTIL_pluginSetPluginNameByCustomer(char **name, const char *customer);
/** An empty customer: "com.operator..smartgateway.BASE" with its doubled dot. */
VosRet UTIL_replacePluginGetNamebase(char **name);

/** Gives the customer of an operator name.
 *
 *  @param customerOut  receives a new allocation, freed by the caller; untouched without a customer
 *  @return that allocation; NULL for a name without the operator prefix or without a dot behind the customer
 */
char *UTIL_pluginGetCustomer(const char *name, char **customerOut);

/** @} */

/** Sends a request and, where @p reply is given, waits without limit for its response.
 *
 *  @param templateHeader  gives type, source, destination, flags and wordData
 *  @param request         stays the caller's
 *  @param reply           may be NULL; numbers and retCtx are filled in (retCtx freed by the caller), pluginName is not
 *                         touched. A response without payload leaves it as it was.
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for NULL or a malformed response; VOS_RET_NO_RESOURCE; VOS_RET_ERROR when the
 *          request had to be sent again; a transport code
 */
VosRet UTIL_pluginSendReqMsg(VosMsgHandle *handle, const VosMsgHeader *templateHeader, const PluginReqMsg *request,
                             PluginRespMsg *reply);

/** Reads a received request. Offsets in the message are replaced by addresses, so a message is read once only.
 *
 *  @param request  filled in; its texts point into the message and live as long as it
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for NULL, no payload, or a payload whose record, offsets or texts do not lie
 *          within it (the message stays as it was)
 */
VosRet UTIL_pluginRecvReqMsg(VosMsgHeader *message, PluginReqMsg *request);

/** UTIL_pluginRecvReqMsg() for a response. */
VosRet UTIL_pluginRecvRespMsg(VosMsgHeader *message, PluginRespMsg *response);

/** Answers a request: its type and wordData, source and destination exchanged, VOS_MSG_FLAG_RESPONSE.
 *
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for NULL; VOS_RET_NO_RESOURCE; a transport code
 */
VosRet UTIL_pluginSendRespMsg(VosMsgHandle *handle, const VosMsgHeader *requestMessage, const PluginRespMsg *response);

/** Registers the process's handle and callback, which must not throw, for set-parameter events; a later call replaces
 *  them. VOS_RET_OK. */
VosRet UTIL_pluginRegisterSetParamEvent(VosMsgHandle *handle, PluginSetParamFunc callback);

/** Answers a received message if it is a set-parameter event; without a callback with a NULL text. The message stays
 *  the caller's.
 *
 *  @return VOS_RET_OK, also for other types and when the answer could not be sent; VOS_RET_BAD_ARG for NULL or a
 *          malformed request
 */
VosRet UTIL_pluginExecuteSetParamEvent(VosMsgHeader *message);

/** Opens a file in the plug-in data directory, which the hub names (waits up to 10 seconds).
 *
 *  @param fileName  appended to the directory as it stands; the whole path takes less than 512 characters
 *  @param mode      as for fopen
 *  @return a stream that the caller closes; NULL on any failure
 */
FILE *UTIL_pluginGetDataFile(VosMsgHandle *handle, const char *fileName, const char *mode);

/** UTIL_pluginGetDataFile() in the directory for temporary files. */
FILE *UTIL_pluginGetTmpFile(VosMsgHandle *handle, const char *fileName, const char *mode);

VOS_END_DECLS

#endif
