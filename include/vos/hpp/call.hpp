/** @file
 *  Asynchronous requests: what is under way, and which reply belongs to which. Part of vos/vos.hpp.
 */
#ifndef VOS_HPP_CALL_HPP
#define VOS_HPP_CALL_HPP

#include <map>
#include <memory>
#include <vector>

#include "vos/hpp/connection.hpp"

namespace vos {

/** What the loop reads time from. */
using Clock = std::chrono::steady_clock;

/** Receives the reply of an asynchronous request, or the code that Connection::ask() would give. */
using Answered = detail::Function<void(Result<Message>)>;

namespace detail {

inline Clock::time_point after(std::chrono::nanoseconds wait) {
    constexpr std::chrono::hours kLongest{24 * 365 * 10};
    return Clock::now() + (wait < kLongest ? wait : std::chrono::nanoseconds{kLongest});
}

/** The requests of one loop that have no reply yet.
 *
 *  Nothing on the wire tells the late reply to one request from the reply to the next one of its kind. A peer answers
 *  in order, so a request that ended without its reply leaves a mark, and the next reply of its kind is taken for the
 *  late one. A peer that dropped a request altogether would be a reply behind for ever; so a request that runs out of
 *  time although a reply was taken for a late one meanwhile leaves no mark. A peer that came back leaves none either.
 */
class Calls {
  public:
    static constexpr unsigned kMostResends = 16;
    static constexpr std::chrono::seconds kMarkLife{60};

    struct Record;
    using Kind = std::pair<uint32_t, VosEntityId>; /* type and peer */
    using ByKind = std::multimap<Kind, std::shared_ptr<Record>>;
    using ByTime = std::multimap<Clock::time_point, Record *>;
    struct Record {
        Message request;
        Answered done; /* none: a mark */
        bool matchWord = false;
        bool lateSeen = false;
        unsigned resends = 0;
        VosRet failed = VOS_RET_OK; /* could not be sent */
        Calls *calls = nullptr;     /* none: over */
        ByKind::iterator kind;
        ByTime::iterator time;
    };

    Calls() = default;
    Calls(const Calls &) = delete;
    Calls &operator=(const Calls &) = delete;
    ~Calls() {
        for (const auto &record : takeAll()) {
            const Answered dropped = std::move(record->done);
        }
    }

    std::shared_ptr<Record> start(VosMsgHandle *handle, Message request, const Ask &ask, Answered done) {
        auto record = std::make_shared<Record>();
        record->failed = ask.unfit != VOS_RET_OK ? ask.unfit
                         : request               ? vosMsg_send(handle, request.header())
                                                 : VosRet{VOS_RET_NO_RESOURCE};
        record->request = std::move(request);
        record->done = std::move(done);
        record->matchWord = ask.matchWord || ask.procedure;
        record->calls = this;
        record->kind = byKind_.emplace(Kind{ask.type, ask.to}, record);
        /* Nobody is called back before the call has returned: what failed at once ends in the next turn. */
        record->time = byTime_.emplace(record->failed == VOS_RET_OK ? after(ask.patience) : Clock::now(), record.get());
        return record;
    }

    /** Gives a reply to the oldest request it fits.
     *  @return whether there was one, be it a mark */
    bool complete(Message &reply) {
        const std::shared_ptr<Record> record = find(reply);
        if (!record) {
            return false;
        }
        if (!record->done) {
            const auto [begin, end] = byKind_.equal_range(record->kind->first);
            for (auto it = begin; it != end; ++it) {
                it->second->lateSeen = it->second->lateSeen || fits(*it->second, reply);
            }
            lateReplies++;
            remove(*record);
            return true;
        }
        finish(record, isRefusal(*record, reply) ? Result<Message>{reply.word()} : Result<Message>{std::move(reply)});
        return true;
    }

    /** Sends again what waits for a peer that came back. */
    void resend(VosMsgHandle *handle, VosEntityId peer) {
        std::vector<std::shared_ptr<Record>> waiting;
        for (const auto &[kind, record] : byKind_) {
            if (kind.second == peer) {
                waiting.push_back(record);
            }
        }
        for (const auto &record : waiting) {
            if (record->calls == nullptr) {
                continue;
            }
            if (!record->done) {
                remove(*record);
            } else if (++record->resends > kMostResends) {
                finish(record, Result<Message>{VosRet{VOS_RET_ERROR}});
            } else if (const VosRet ret = vosMsg_send(handle, record->request.header()); ret != VOS_RET_OK) {
                finish(record, Result<Message>{ret});
            }
        }
    }

    Clock::time_point nextDue() const { return byTime_.empty() ? Clock::time_point::max() : byTime_.begin()->first; }
    void expire(Clock::time_point now) {
        while (!byTime_.empty() && byTime_.begin()->first <= now) {
            const std::shared_ptr<Record> record = byTime_.begin()->second->kind->second;
            if (!record->done) {
                remove(*record);
                continue;
            }
            const Answered done = std::move(record->done);
            const VosRet ret = record->failed != VOS_RET_OK ? record->failed : VosRet{VOS_RET_TIMEOUT};
            abandon(*record);
            done(Result<Message>{ret});
        }
    }

    /** Ends everything with a code. */
    void failAll(VosRet ret) {
        for (const auto &record : takeAll()) {
            if (record->done) {
                const Answered done = std::move(record->done);
                done(Result<Message>{ret});
            }
        }
    }

    /** A request whose answer nobody wants any more. */
    void cancel(const std::shared_ptr<Record> &record) {
        const Answered dropped = std::move(record->done);
        abandon(*record);
    }

    size_t underWay() const { return byKind_.size(); }

    uint64_t lateReplies = 0;

  private:
    static bool fits(const Record &record, const MessageView &reply) {
        const bool flagged = reply.has(VOS_MSG_FLAG_SRPC) || !record.request.has(VOS_MSG_FLAG_SRPC);
        return !record.matchWord || (flagged && reply.word() == record.request.word());
    }
    /** A reply without the request's word may still say no: as Request::fail() does, or the hub, which leaves the flag
     *  of procedures in when nobody holds the id. */
    static bool isRefusal(const Record &record, const MessageView &reply) {
        const bool nobodyThere = reply.word() == VOS_RET_PEER_GONE && reply.payload().empty();
        return (refusal(reply) != VOS_RET_OK || nobodyThere) && !(record.matchWord && fits(record, reply));
    }
    std::shared_ptr<Record> find(const MessageView &reply) const {
        const auto [begin, end] = byKind_.equal_range(Kind{reply.type(), reply.source()});
        for (const auto test : {&Calls::fits, &Calls::isRefusal}) {
            for (auto it = begin; it != end; ++it) {
                if (it->second->failed == VOS_RET_OK && test(*it->second, reply)) {
                    return it->second;
                }
            }
        }
        return {};
    }
    void remove(Record &record) {
        const std::shared_ptr<Record> keep = record.kind->second;
        byTime_.erase(record.time);
        byKind_.erase(record.kind);
        record.calls = nullptr;
    }
    void finish(const std::shared_ptr<Record> &record, Result<Message> result) {
        const Answered done = std::move(record->done);
        remove(*record);
        done(std::move(result));
    }
    void abandon(Record &record) {
        if (record.failed != VOS_RET_OK || record.lateSeen) {
            remove(record);
            return;
        }
        byTime_.erase(record.time);
        record.time = byTime_.emplace(Clock::now() + kMarkLife, &record);
    }
    std::vector<std::shared_ptr<Record>> takeAll() {
        std::vector<std::shared_ptr<Record>> all;
        for (const auto &entry : byKind_) {
            entry.second->calls = nullptr;
            all.push_back(entry.second);
        }
        byKind_.clear();
        byTime_.clear();
        return all;
    }

    ByKind byKind_;
    ByTime byTime_;
};

}  // namespace detail

/** An asynchronous request under way. Going away cancels it: its callback is destroyed uncalled, its reply will be
 *  dropped. */
class [[nodiscard]] Call {
  public:
    Call() = default;
    /** @cond */
    explicit Call(std::shared_ptr<detail::Calls::Record> record) noexcept : record_{std::move(record)} {}
    Call(Call &&) noexcept = default;
    Call &operator=(Call &&other) noexcept {
        cancel();
        record_ = std::move(other.record_);
        return *this;
    }
    /** @endcond */
    ~Call() { cancel(); }

    /** Whether the answer is still to come. */
    bool underWay() const noexcept { return record_ && record_->calls != nullptr && record_->done; }
    /** Cancels it now; nothing happens when the answer has come. */
    void cancel() noexcept {
        const auto record = std::move(record_);
        if (record && record->calls != nullptr && record->done) {
            record->calls->cancel(record);
        }
    }
    /** Lets the request go on by itself. */
    void detach() noexcept { record_.reset(); }

  private:
    std::shared_ptr<detail::Calls::Record> record_;
};

}  // namespace vos

#endif
