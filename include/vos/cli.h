/** @file
 *  Remote command line: a command runs in the daemon that receives it and writes to a file.
 *
 *  Request: wordData is the number of arguments, the payload 8 bytes (the address of a command function in the
 *  receiving process, in its byte order) and then the arguments, each NUL-terminated, back to back. The reply is the
 *  header alone with the command's result as wordData; by then the output is complete in UTIL_CLI_RESULT_FILE, which
 *  each command writes anew.
 *
 *  A request that is no such message (fewer than 8 payload bytes but not none, more than 32 arguments, an argument
 *  whose NUL does not lie inside the payload) runs nothing and is answered with VOS_RET_BAD_ARG.
 */
#ifndef VOS_CLI_H
#define VOS_CLI_H

#include <stdio.h>

#include "vos/msg.h"

/** Where a command's output goes. */
#define UTIL_CLI_RESULT_FILE "/tmp/cli_remote_result"
/** Arguments that a request can carry. */
#define UTIL_CLI_MAX_ARGS 32

/** A command. Must not throw.
 *
 *  @param argc  number of arguments, at most UTIL_CLI_MAX_ARGS
 *  @param argv  the arguments; argv[argc] is NULL. They lie in the request and may be written to.
 *  @param out   the result file, open for reading and writing; not to be closed
 *  @return the request's result
 */
typedef uint32_t (*UtilCliFunc)(int argc, char **argv, FILE *out);

VOS_BEGIN_DECLS

/** UTIL_processRemoteCli() with the command function whose address the payload begins with.
 *
 *  The sender chooses what is called, so this is for daemons whose peers are all trusted. An address outside the code
 *  of this process is refused as above, and so is a request without a payload.
 *
 *  @return as UTIL_processRemoteCli()
 */
VosRet UTIL_cliHandleCmd(VosMsgHandle *msgHandle, VosMsgHeader *msg);

/** Runs a command for a received request and replies. The address in the payload is ignored. A request without a
 *  payload runs the command without arguments, whatever its wordData.
 *
 *  An old result file is removed first; the new one is created, never followed to another file.
 *
 *  @param msg      stays the caller's
 *  @param cmdFunc  the command
 *  @return the code of sending the reply (vosMsg_sendReply()), whatever the command's result; VOS_RET_BAD_ARG for a
 *          NULL handle or message (nothing is sent) or command and for a malformed request (answered);
 *          VOS_RET_OPEN_FAILED when the result file cannot be created, the request is not answered then
 */
VosRet UTIL_processRemoteCli(VosMsgHandle *msgHandle, VosMsgHeader *msg, UtilCliFunc cmdFunc);

VOS_END_DECLS

#endif
