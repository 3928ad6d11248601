/** @file
 *  Messages between daemons, through the hub.
 *
 *  A handle is this process's connection to the hub. It and its queue belong to one thread at a time; nothing locks.
 *  There is no reconnection: once the hub has closed the socket, receiving and sending give VOS_RET_PEER_GONE.
 *
 *  Messages of other types that arrive while a request waits for its reply stay on the handle's put-back queue and are
 *  handed out first, oldest first, by the next receive. When such a wait ends, a wake-up marker
 *  (VOS_MSG_REQUEUE_WAKEUP) travels through the hub back to this process, so that a daemon which waits on the
 *  descriptor notices the queue; daemons ignore and free the marker itself.
 *
 *  A handle never loses its place in the stream: a time-out or a signal in the middle of a message costs nothing, what
 *  has arrived stays with the handle and the next receive goes on there; a message for which memory was short is lost
 *  as a whole and nothing behind it. Only vosMsg_ calls know that place, so never read a handle's descriptor with
 *  anything else. When a message could be sent in part only, nothing more is sent: later sends give VOS_RET_PEER_GONE,
 *  the hub ends the connection and the daemon has to start anew.
 *
 *  A request is answered by the next message of its type: nothing else is compared (but the id of an SRPC request in
 *  the calls that hand over the whole reply). After a time-out a late reply is still on its way, and it would answer
 *  the next request of the same type with the wrong data. Before asking again receive until the late reply has come,
 *  or ask through a second handle, or send the request with vosMsg_send() and match what vosMsg_receiveWithTimeout()
 *  gives by type, source and word.
 *
 *  What else can happen between two daemons, with resends, markers, flags and time-outs, is told on the manual's page
 *  @ref wire_rules.
 *
 *  A NULL handle or message gives VOS_RET_BAD_ARG unless said otherwise.
 */
#ifndef VOS_MSG_H
#define VOS_MSG_H

#include "vos/msg_types.h"
#include "vos/ret.h"

/** Where the hub listens. */
#define VOS_MSG_HUB_SOCKET_PATH "/var/hubd_messaging_server_addr"

/** A process's connection to the hub; opaque. */
typedef struct VosMsgHandle VosMsgHandle;

VOS_BEGIN_DECLS

/** Connects to the hub and announces this process under the entity id @p eid.
 *
 *  The hub's answer, awaited for 15 seconds at most, settles the handle's entity id, which may differ from @p eid.
 *  An @p eid of 0 announces by the plug-in name as vosMsg_initEasy() does.
 *
 *  @param handleOut  receives the handle, released with vosMsg_cleanup(); untouched on failure
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for a NULL @p handleOut; VOS_RET_NO_RESOURCE; VOS_RET_ERROR when the hub
 *          cannot be reached or does not answer
 */
VosRet vosMsg_init(VosEntityId eid, VosMsgHandle **handleOut);

/** vosMsg_init() under the name in the plug-in's description file "../Info.plugin" (an empty name where it is absent).
 */
VosRet vosMsg_initEasy(VosMsgHandle **handleOut);

/** vosMsg_init() under a name; the hub chooses the entity id. A name longer than 63 characters is cut. A NULL name
 *  behaves as vosMsg_initEasy(). */
VosRet vosMsg_initByName(const char *name, VosMsgHandle **handleOut);

/** Closes the connection, frees every queued message, what has arrived of the next one and the handle and sets *@p
 *  handlePtr to NULL. Nothing happens for NULL or a NULL handle. */
void vosMsg_cleanup(VosMsgHandle **handlePtr);

/** Sends a message with one write; waits for room. Never raises SIGPIPE.
 *
 *  What a signal or a stop cut is sent to its end, for a second at most.
 *
 *  @param msg  header and payload in one block; stays the caller's
 *  @return VOS_RET_OK: the message went out whole; VOS_RET_PEER_GONE when the hub is gone or an earlier message could
 *          be sent in part only; VOS_RET_WOULD_BLOCK when a non-blocking socket is full and took nothing;
 *          VOS_RET_ERROR when only a part could be sent (at once on a non-blocking socket), when a signal came before
 *          the first byte, or for any other failure
 */
VosRet vosMsg_send(VosMsgHandle *handle, const VosMsgHeader *msg);

/** Sends a header-only reply: type of the request, source and destination exchanged, VOS_MSG_FLAG_RESPONSE, and
 *  VOS_MSG_FLAG_KEEP if the request carried it.
 *
 *  @param result  becomes the reply's wordData
 *  @return as vosMsg_send()
 */
VosRet vosMsg_sendReply(VosMsgHandle *handle, const VosMsgHeader *request, uint32_t result);

/** Gives the descriptor to wait on in the caller's own poll loop; it stays the handle's. */
VosRet vosMsg_getEventHandle(const VosMsgHandle *handle, int32_t *fdOut);

/** The entity id that the hub assigned; 0 for NULL. */
VosEntityId vosMsg_getHandleEid(const VosMsgHandle *handle);

/** Copies a message, header and payload; NULL for NULL or when memory is short. The caller frees the copy. */
VosMsgHeader *vosMsg_duplicate(const VosMsgHeader *msg);

/** Appends *@p msgPtr to the put-back queue, which then owns it, and sets *@p msgPtr to NULL. A wake-up marker is freed
 *  instead. */
void vosMsg_putBack(VosMsgHandle *handle, VosMsgHeader **msgPtr);

/** Sends the wake-up marker when the put-back queue is not empty; a failing send is ignored. (A limited request whose
 *  time is over does not wait for room for it.) */
void vosMsg_requeuePutBacks(VosMsgHandle *handle);

/** Takes the oldest message off the put-back queue; *@p msgOut is NULL when the queue is empty. */
void vosMsg_receivePutBack(VosMsgHandle *handle, VosMsgHeader **msgOut);

/** Receives the oldest put-back message or, when there is none, the next message from the hub; waits without limit.
 *
 *  @param msgOut  receives the message, freed by the caller; NULL on failure
 *  @return VOS_RET_OK; VOS_RET_PEER_GONE; VOS_RET_NO_RESOURCE, after which this message is lost as a whole;
 *          VOS_RET_ERROR for a bad read, and when a signal handler installed without SA_RESTART ran before the first
 *          byte arrived (daemons notice SIGTERM by it). A handler with SA_RESTART, a stop and a continuation do not
 *          end the wait; on a descriptor that was made non-blocking any handler does.
 */
VosRet vosMsg_receive(VosMsgHandle *handle, VosMsgHeader **msgOut);

/** vosMsg_receive() that waits @p timeoutMs milliseconds at most for the whole message; VOS_RET_TIMEOUT then, and what
 *  has arrived of a message stays for the next call, so 0 suits a poll loop. Signals do not end the wait. */
VosRet vosMsg_receiveWithTimeout(VosMsgHandle *handle, VosMsgHeader **msgOut, uint32_t timeoutMs);

/** Sends a request and waits without limit for its reply, the next message of the same type.
 *
 *  Messages of other types that arrive meanwhile go to the put-back queue. When the hub reports that the peer came back
 *  (VOS_MSG_RESEND_REQUEST from the request's destination), the request is sent once more and the result is
 *  VOS_RET_OK whatever the peer answers then; the 17th such report makes the call give up with VOS_RET_ERROR.
 *
 *  @param msg  request, header and payload in one block; stays the caller's
 *  @return the reply's wordData, or a transport code. A reply of 9809 reads the same as a time-out.
 */
VosRet vosMsg_sendAndGetReply(VosMsgHandle *handle, const VosMsgHeader *msg);

/** vosMsg_sendAndGetReply() that waits @p timeoutMs milliseconds at most; VOS_RET_TIMEOUT then.
 *
 *  The time counts from the call (anew each time the request is sent again), neither signals nor other messages
 *  shorten it, and it covers the sending: VOS_RET_TIMEOUT too when the socket had no room for the first byte. A
 *  request that went out in part when the time ends has a second more, then VOS_RET_ERROR as vosMsg_send() gives it.
 *  Of messages that are there when the time is over at most 4096 more are read. After VOS_RET_TIMEOUT mind the late
 *  reply, see above.
 */
VosRet vosMsg_sendAndGetReplyWithTimeout(VosMsgHandle *handle, const VosMsgHeader *msg, uint32_t timeoutMs);

/** Sends a request and hands over the whole reply.
 *
 *  A request with VOS_MSG_FLAG_SRPC is answered only by a reply that carries the flag and the same wordData; other
 *  replies of its type are dropped. Otherwise as vosMsg_sendAndGetReply().
 *
 *  @param replyOut  receives the reply, freed by the caller; NULL on failure and, with VOS_RET_OK, when the request had
 *                   to be sent once more and that one went unanswered
 *  @return VOS_RET_OK or a transport code
 */
VosRet vosMsg_sendAndGetReplyBuf(VosMsgHandle *handle, const VosMsgHeader *msg, VosMsgHeader **replyOut);

/** vosMsg_sendAndGetReplyBuf() with the limit of vosMsg_sendAndGetReplyWithTimeout(). */
VosRet vosMsg_sendAndGetReplyBufWithTimeout(VosMsgHandle *handle, const VosMsgHeader *msg, VosMsgHeader **replyOut,
                                            uint32_t timeoutMs);

/** @name Transport The layer below, on a bare descriptor. Works on stream sockets and, without the SIGPIPE protection,
 *  on other descriptors. It remembers nothing between two calls: a receive that ends inside a message and a send that
 *  went out in part leave the stream torn. The descriptor of a handle belongs to the calls above.
 *  @{ */

/** Opens a handle: by @p eid, or for 0 by @p name, or for a NULL name by the plug-in name. See vosMsg_init(). */
VosRet oalVosMsg_init(VosEntityId eid, const char *name, VosMsgHandle **handleOut);

/** Writes one message with a single system call; a short write is not continued. Codes as vosMsg_send(). */
VosRet oalVosMsg_send(int32_t fd, const VosMsgHeader *msg);

/** Reads one message into a new block.
 *
 *  @param msgOut     receives the block, freed by the caller; NULL on failure
 *  @param timeoutMs  NULL waits without limit; else the milliseconds for the whole message, which become the
 *                    milliseconds left: unchanged when nothing had to be waited for, 0 at a time-out
 *  @return VOS_RET_OK; VOS_RET_TIMEOUT; VOS_RET_PEER_GONE at end of file before or inside the header;
 *          VOS_RET_NO_RESOURCE; VOS_RET_BAD_ARG for a NULL @p msgOut; VOS_RET_ERROR for anything else
 */
VosRet oalVosMsg_receive(int32_t fd, VosMsgHeader **msgOut, uint32_t *timeoutMs);

/** See vosMsg_getEventHandle(). */
VosRet oalVosMsg_getEventHandle(const VosMsgHandle *handle, int32_t *fdOut);

/** Closes the socket, frees the handle and sets *@p handlePtr to NULL; queued messages are not freed here. */
void oalVosMsg_cleanup(VosMsgHandle **handlePtr);

/** @} */

VOS_END_DECLS

#endif
