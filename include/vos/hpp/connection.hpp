/** @file
 *  The connection to the hub, and requests that arrive on it. Part of vos/vos.hpp.
 */
#ifndef VOS_HPP_CONNECTION_HPP
#define VOS_HPP_CONNECTION_HPP

#include <time.h>

#include <chrono>

#include "vos/hpp/message.hpp"
#include "vos/request.h"

namespace vos {

namespace detail {

/** Milliseconds for the C interface: rounded up, so that a wait never ends early, and cut to 32 bits. */
inline uint32_t wholeMs(std::chrono::nanoseconds wait) noexcept {
    using std::chrono::milliseconds;
    const auto ms = std::chrono::ceil<milliseconds>(wait).count();
    return ms <= 0 ? 0 : ms >= INT32_MAX ? uint32_t{INT32_MAX} : static_cast<uint32_t>(ms);
}

/** A reply that says no, which is how Request::fail() and the hub answer: no payload and a code as its word. A
 *  procedure's reply carries its number there and never says no. */
inline VosRet refusal(const MessageView &reply) noexcept {
    const bool code = reply.word() >= 9001 && reply.word() <= 9999 && reply.payload().empty();
    return code && !reply.has(VOS_MSG_FLAG_SRPC) ? reply.word() : VosRet{VOS_RET_OK};
}

}  // namespace detail

constexpr std::chrono::seconds kPatience{15}; /**< how long requests wait unless told */

/** A request to be sent; lives as long as the call that it is given to. */
struct Ask {
    VosEntityId to = 0;                            /**< whom */
    uint32_t type = 0;                             /**< the message's type, and its reply's */
    uint32_t word = 0;                             /**< the header's wordData */
    Payload payload = {};                          /**< nothing, unless set */
    std::chrono::nanoseconds patience = kPatience; /**< the longest wait */
    bool procedure = false; /**< the word is a procedure's number; the reply has to carry it too */
    bool matchWord = false; /**< the peer repeats the word, so that its replies may come in any order (Loop::ask()) */
    unsigned flags = 0;     /**< more flags: VOS_MSG_FLAG_KEEP */
    VosRet unfit = VOS_RET_OK; /**< why there is no payload to send: the request goes to nobody and ends with it */
};

/** A process's connection to the hub; belongs to one thread. */
class Connection {
  public:
    /** Opens under a name, an entity id or, as a plug-in, under the name in ../Info.plugin.
     *  @{ */
    static Result<Connection> open(const char *name) {
        VosMsgHandle *handle = nullptr;
        return opened(vosMsg_initByName(name, &handle), handle);
    }
    static Result<Connection> open(VosEntityId eid) {
        VosMsgHandle *handle = nullptr;
        return opened(vosMsg_init(eid, &handle), handle);
    }
    static Result<Connection> openPlugin() {
        VosMsgHandle *handle = nullptr;
        return opened(vosMsg_initEasy(&handle), handle);
    }
    /** @} */
    /** Takes a handle over. */
    explicit Connection(VosMsgHandle *handle) noexcept : handle_{handle} {}
    /** @cond */
    Connection(Connection &&other) noexcept : handle_{std::exchange(other.handle_, nullptr)} {}
    Connection &operator=(Connection &&other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    /** @endcond */
    ~Connection() { vosMsg_cleanup(&handle_); }

    /** For the C interface; stays the connection's. */
    VosMsgHandle *handle() const noexcept { return handle_; }
    /** What the hub knows this process by. */
    VosEntityId eid() const noexcept { return vosMsg_getHandleEid(handle_); }

    /** Sends a message as it is. */
    Result<void> send(const Message &message) const { return vosMsg_send(handle_, message.header()); }
    /** Sends an event to one entity. */
    Result<void> notify(VosEntityId to, uint32_t type, uint32_t word = 0, Payload payload = {}) const {
        return send(Message::build(type, eid(), to, VOS_MSG_FLAG_EVENT, word, payload));
    }
    /** Sends an event to all who subscribed to its type. */
    Result<void> publish(uint32_t type, uint32_t word = 0, Payload payload = {}) const {
        return notify(EID_HUBD, type, word, payload);
    }
    /** Asks the hub for the events of a type; they arrive at Loop::on(). Waits for the hub's answer.
     *  @{ */
    Result<void> subscribe(uint32_t type) const { return askHub(VOS_MSG_REGISTER_EVENT_INTEREST, type); }
    Result<void> unsubscribe(uint32_t type) const { return askHub(VOS_MSG_UNREGISTER_EVENT_INTEREST, type); }
    /** @} */
    /** Tells the hub that the process is alive. */
    Result<void> heartbeat() const { return UTIL_sendHeartbeat(handle_); }

    /** Sends a request and waits for its reply. Messages of other types wait for the loop meanwhile; so the type must
     *  not be that of an asynchronous call under way, whose reply would end this wait.
     *
     *  @return the reply; the code in a reply that says no; VOS_RET_TIMEOUT; VOS_RET_PEER_GONE when nobody holds the id
     *          or the hub is gone; VOS_RET_ERROR when the peer came back and left the repeated request unanswered
     */
    Result<Message> ask(const Ask &ask) const {
        if (ask.unfit != VOS_RET_OK) {
            return ask.unfit;
        }
        const Message message = build(ask);
        VosMsgHeader *reply = nullptr;
        const VosRet ret =
            vosMsg_sendAndGetReplyBufWithTimeout(handle_, message.header(), &reply, detail::wholeMs(ask.patience));
        Message owned{reply};
        if (ret != VOS_RET_OK || !owned) {
            return message ? ret : VosRet{VOS_RET_NO_RESOURCE};
        }
        if (const VosRet no = detail::refusal(owned); no != VOS_RET_OK) {
            return no;
        }
        return owned;
    }

    /** The entity id of a name, whether it runs or not; VOS_RET_UNKNOWN_NAME. */
    Result<VosEntityId> lookUp(std::string_view name, std::chrono::nanoseconds patience = kPatience) const {
        char text[64] = {};
        if (name.size() >= sizeof text) {
            return Result<VosEntityId>::failure(VOS_RET_BAD_ARG);
        }
        name.copy(text, name.size());
        const auto reply = ask({.to = EID_HUBD,
                                .type = VOS_MSG_GET_EID_BY_APP_NAME,
                                .payload = std::string_view{text, name.size() + 1},
                                .patience = patience});
        if (!reply) {
            return Result<VosEntityId>::failure(reply.ret());
        }
        return reply->word() != 0 ? Result<VosEntityId>{reply->word()}
                                  : Result<VosEntityId>::failure(VOS_RET_UNKNOWN_NAME);
    }
    /** Whether the entity is connected to the hub. */
    bool isRunning(VosEntityId eid) const { return bool{askHub(VOS_MSG_IS_APP_RUNNING, eid)}; }
    /** Waits until a name's process runs, asking the hub every 20 milliseconds: its id or VOS_RET_TIMEOUT. */
    Result<VosEntityId> waitFor(std::string_view name, std::chrono::nanoseconds patience) const {
        const auto end = std::chrono::steady_clock::now() + patience;
        for (;;) {
            auto found = lookUp(name);
            if ((found && isRunning(*found)) || (!found && found.ret() != VOS_RET_UNKNOWN_NAME)) {
                return found;
            }
            if (std::chrono::steady_clock::now() >= end) {
                return Result<VosEntityId>::failure(VOS_RET_TIMEOUT);
            }
            const timespec pause{0, 20'000'000};
            nanosleep(&pause, nullptr);
        }
    }

    /** The message that asks. */
    Message build(const Ask &ask) const {
        const unsigned flags = VOS_MSG_FLAG_REQUEST | ask.flags | (ask.procedure ? unsigned{VOS_MSG_FLAG_SRPC} : 0u);
        return Message::build(ask.type, eid(), ask.to, flags, ask.word, ask.payload);
    }

  private:
    static Result<Connection> opened(VosRet ret, VosMsgHandle *const &handle) {
        return ret == VOS_RET_OK ? Result<Connection>{Connection{handle}} : Result<Connection>{ret};
    }
    Result<void> askHub(uint32_t type, uint32_t word) const {
        const auto reply = ask({.to = EID_HUBD, .type = type, .word = word});
        return reply ? reply->word() : reply.ret();
    }

    VosMsgHandle *handle_;
};

/** The right and duty to answer one request. Answers VOS_RET_ERROR when it goes away unused, so that no requester waits
 *  in vain. Must not outlive its connection. */
class PendingReply {
  public:
    /** To a request that came in on a handle of the C interface. */
    PendingReply(VosMsgHandle *handle, const VosMsgHeader &request) noexcept : handle_{handle}, request_{request} {
        if (request_.src == 0 || !MessageView{&request_}.has(VOS_MSG_FLAG_REQUEST)) {
            handle_ = nullptr;
        }
    }
    /** @cond */
    PendingReply(PendingReply &&other) noexcept
        : handle_{std::exchange(other.handle_, nullptr)}, request_{other.request_} {}
    PendingReply &operator=(PendingReply &&other) noexcept {
        std::swap(handle_, other.handle_);
        std::swap(request_, other.request_);
        return *this;
    }
    /** @endcond */
    ~PendingReply() { fail(VOS_RET_ERROR); }

    /** Whether it was given, or dismissed. */
    bool answered() const noexcept { return handle_ == nullptr; }
    /** Answers with a payload; the word is VOS_RET_OK, or the procedure's number. Only the first answer counts. */
    void reply(Payload payload = {}) { replyWord(VOS_RET_OK, payload); }
    /** Answers with a word of one's own, which a procedure's reply has no room for. */
    void replyWord(uint32_t word, Payload payload = {}) { answer(word, payload); }
    /** Refuses: the code as word, no payload. A procedure's requester sees a reply without payload. */
    void fail(VosRet ret) { answer(ret, {}); }
    /** Somebody else has answered. */
    void dismiss() noexcept { handle_ = nullptr; }

  private:
    void answer(uint32_t word, Payload payload) {
        VosMsgHandle *const handle = std::exchange(handle_, nullptr);
        if (handle == nullptr) {
            return;
        }
        const bool procedure = (request_.flags & VOS_MSG_FLAG_SRPC) != 0;
        const unsigned kept = request_.flags & (VOS_MSG_FLAG_KEEP | VOS_MSG_FLAG_SRPC);
        const Message reply = Message::build(request_.type, request_.dst, request_.src, VOS_MSG_FLAG_RESPONSE | kept,
                                             procedure ? request_.wordData : word, payload);
        vosMsg_send(handle, reply.header()); /* a hub that is gone shows at the next receive */
    }

    VosMsgHandle *handle_;
    VosMsgHeader request_;
};

/** A request that has arrived, as a handler sees it: the message, and its reply. */
class Request : public MessageView {
  public:
    /** Of a message that came in on a handle of the C interface. */
    Request(VosMsgHandle *handle, const VosMsgHeader *message) noexcept
        : MessageView{message}, pending_{handle, *message} {}

    void reply(Payload payload = {}) const { pending_.reply(payload); } /**< PendingReply */
    void replyWord(uint32_t word, Payload payload = {}) const {
        pending_.replyWord(word, payload);
    }                                                     /**< PendingReply */
    void fail(VosRet ret) const { pending_.fail(ret); }   /**< PendingReply */
    void dismiss() const noexcept { pending_.dismiss(); } /**< PendingReply */
    /** PendingReply */
    bool answered() const noexcept { return pending_.answered(); }
    /** Takes the reply along, to be given after the handler has returned. */
    PendingReply later() const noexcept { return std::move(pending_); }

  private:
    mutable PendingReply pending_;
};

}  // namespace vos

#endif
