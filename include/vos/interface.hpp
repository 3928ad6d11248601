/** @file
 *  What C++ code that `vosgen cpp` makes from a description rests on: payloads read and written, replies turned into
 *  values, answers of the right kind. Included by that code; docs/manual/interfaces.md shows its use.
 */
#ifndef VOS_INTERFACE_HPP
#define VOS_INTERFACE_HPP

#include <array>
#include <utility>
#include <vector>

#include "vos/vos.hpp"

namespace vos {

/** How values of a payload are read and written; vosgen makes one for each structure:
 *  `kPlain`, whether the value is what lies on the wire; `read()` and `write()` of the C header. */
template <typename T>
struct Codec;

/** A value that was read, and the message that its pointers lead into. */
template <typename T>
class Read {
  public:
    /** Takes the message over. */
    Read(Message &&message, const T &value) : message_{std::move(message)}, value_{value} {}
    /** The value.
     *  @{ */
    const T &operator*() const noexcept { return value_; }
    const T *operator->() const noexcept { return &value_; }
    /** @} */

  private:
    Message message_;
    T value_;
};

namespace iface {

/** The longest wait. */
using Patience = std::chrono::nanoseconds;

/** A payload's value by itself where it points nowhere. */
template <typename T>
using Value = std::conditional_t<Codec<T>::kPlain, T, Read<T>>;

/** Reads a message's payload: VOS_RET_OK or VOS_RET_BAD_ARG. */
template <typename T>
VosRet read(const MessageView &message, T &value) {
    return Codec<T>::read(message.header() + 1, message.header()->dataLength, &value);
}

/** The bytes of a value. */
template <typename T>
class Written {
  public:
    /** Writes it. */
    explicit Written(const T &value) {
        uint32_t length = sizeof bytes_;
        if constexpr (!Codec<T>::kPlain) {
            Codec<T>::write(&value, nullptr, 0, &length);
            bytes_.resize(length);
        }
        ret_ = Codec<T>::write(&value, bytes_.data(), length, &length);
    }
    /** Whether it could be written. */
    VosRet ret() const noexcept { return ret_; }
    /** What was written. */
    Payload payload() const { return bytes_; }

  private:
    std::conditional_t<Codec<T>::kPlain, std::array<std::byte, sizeof(T)>, std::vector<std::byte>> bytes_;
    VosRet ret_;
};

/** What replies give: nothing, their word, their payload, or both. */
template <typename T, bool kWord>
struct ReplyOf {
    /** The value's type. */
    using Type = std::conditional_t<kWord, std::pair<uint32_t, Value<T>>, Value<T>>;
};
/** Of a reply without payload. */
template <bool kWord>
struct ReplyOf<void, kWord> {
    /** The value's type. */
    using Type = std::conditional_t<kWord, uint32_t, void>;
};
/** A reply's value or a code. */
template <typename T, bool kWord>
using Answer = Result<typename ReplyOf<T, kWord>::Type>;

/** A Result without a value; VOS_RET_OK counts as VOS_RET_ERROR. */
template <typename R>
R failure(VosRet ret) {
    if constexpr (std::is_same_v<R, Result<void>>) {
        return Result<void>{ret == VOS_RET_OK ? VosRet{VOS_RET_ERROR} : ret};
    } else {
        return R::failure(ret);
    }
}

/** A reply as the value that it is described to be. A word that says no is the Result's code, where it is not itself
 *  the result. */
template <typename T, bool kWord>
Answer<T, kWord> answer(Result<Message> reply) {
    using R = Answer<T, kWord>;
    if (!reply) {
        return failure<R>(reply.ret());
    }
    const uint32_t word = reply->word();
    if (!kWord && !reply->has(VOS_MSG_FLAG_SRPC) && word != VOS_RET_OK) {
        return failure<R>(word);
    }
    if constexpr (std::is_void_v<T>) {
        if (!reply->payload().empty()) {
            return failure<R>(VOS_RET_BAD_ARG);
        }
        if constexpr (kWord) {
            return R{word};
        } else {
            return R{};
        }
    } else {
        T value;
        if (const VosRet ret = read(*reply, value); ret != VOS_RET_OK) {
            return failure<R>(ret);
        }
        const auto whole = [&]() -> Value<T> {
            if constexpr (Codec<T>::kPlain) {
                return value;
            } else {
                return {std::move(*reply), value};
            }
        };
        if constexpr (kWord) {
            return R{std::pair<uint32_t, Value<T>>{word, whole()}};
        } else {
            return R{whole()};
        }
    }
}

/** Waits for the reply. */
template <typename T, bool kWord>
Answer<T, kWord> ask(const Connection &hub, const Ask &question) {
    return answer<T, kWord>(hub.ask(question));
}
/** Hands the answer to `done`. */
template <typename T, bool kWord, typename Done>
Call ask(Loop &loop, const Ask &question, Done done) {
    return loop.ask(question, [done = std::move(done)](Result<Message> reply) mutable {
        done(answer<T, kWord>(std::move(reply)));
    });
}
/** For co_await. */
template <typename T, bool kWord>
class AskingFor : public Asking {
  public:
    /** What Loop::ask() gives. */
    explicit AskingFor(Asking &&asking) noexcept : Asking{std::move(asking)} {}
    /** The reply's value. */
    Answer<T, kWord> await_resume() { return answer<T, kWord>(Asking::await_resume()); }
};

/** The right and duty to give an answer of the described kind; may be kept. Answers VOS_RET_ERROR when it goes away
 *  unused. */
template <typename T, bool kWord>
class ReplyTo {
  public:
    /** Takes the reply along. */
    explicit ReplyTo(const Request &request) noexcept : pending_{request.later()} {}

    /** Answers; only the first answer counts.
     *  @{ */
    void send() requires(std::is_void_v<T> && !kWord) { pending_.reply(); }
    void send(uint32_t word) requires(std::is_void_v<T> &&kWord) { pending_.replyWord(word); }
    template <typename V = T>
    void send(const std::type_identity_t<V> &value) requires(!std::is_void_v<T> && !kWord) {
        sendValue(VOS_RET_OK, value);
    }
    template <typename V = T>
    void send(uint32_t word, const std::type_identity_t<V> &value) requires(!std::is_void_v<T> && kWord) {
        sendValue(word, value);
    }
    /** @} */
    /** Refuses: the code as word, no payload. */
    void fail(VosRet ret) { pending_.fail(ret); }

  private:
    template <typename V>
    void sendValue(uint32_t word, const V &value) {
        const Written<V> written{value};
        written.ret() == VOS_RET_OK ? pending_.replyWord(word, written.payload()) : pending_.fail(written.ret());
    }

    PendingReply pending_;
};

/** Whether a message has the payload that is described, void: none. A procedure without arguments has some bytes. */
template <typename T, typename Then>
bool withPayload(const MessageView &message, Then then) {
    if constexpr (std::is_void_v<T>) {
        if (!message.has(VOS_MSG_FLAG_SRPC) && !message.payload().empty()) {
            return false;
        }
        then();
    } else {
        T value;
        if (read(message, value) != VOS_RET_OK) {
            return false;
        }
        then(std::as_const(value));
    }
    return true;
}
/** Answers VOS_RET_BAD_ARG to a request that does not fit. */
template <typename T, typename Then>
void serve(const Request &request, Then then) {
    if (!withPayload<T>(request, std::move(then))) {
        request.fail(VOS_RET_BAD_ARG);
    }
}
/** Notes an event that does not fit in the daemon's log. */
template <typename T, typename Then>
void take(const MessageView &message, Then then) {
    if (!withPayload<T>(message, std::move(then))) {
        VOS_LOG_ERROR("message 0x%08x from %u does not fit its description", message.type(), message.source());
    }
}

}  // namespace iface
}  // namespace vos

#endif
