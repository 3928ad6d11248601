// Requests and their answers out of a stream of messages.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <tuple>
#include <vector>

#include "vos/msg_types.h"

namespace vosctl {

/** A request as it passed. */
struct Request {
    uint64_t number;  // of the message
    uint64_t timeNs;
    VosEntityId src;
    VosEntityId dst;
    uint32_t type;
    uint32_t word;
    bool srpc;
    bool askedAgain = false;  // the same of the same peer, before this one was answered
};

/** Finds the request that a reply answers: nothing on the wire says it, so the oldest of the same type between the two;
 *  of numbered procedures, the oldest with the same id. */
class RequestMatcher {
  public:
    /** Remembers so many open requests; beyond that the oldest is given up. */
    explicit RequestMatcher(size_t limit = 65536) : limit_{limit} {}

    /** Takes a request; what had to be given up for it. */
    std::optional<Request> ask(uint64_t number, uint64_t timeNs, const VosMsgHeader &request);
    /** The request that a reply answers, which is then no longer open. */
    std::optional<Request> answer(const VosMsgHeader &reply);
    /** A peer came back: what `requester` had asked it will not be answered; the library asks again. */
    std::vector<Request> restart(VosEntityId requester, VosEntityId peer);
    /** Open requests in order. */
    const std::map<uint64_t, Request> &open() const { return open_; }

  private:
    using Key = std::tuple<VosEntityId, VosEntityId, uint32_t, uint64_t>;
    static Key keyOf(VosEntityId requester, VosEntityId peer, const VosMsgHeader &header);
    std::optional<Request> take(uint64_t number);

    size_t limit_;
    std::map<uint64_t, Request> open_;
    std::map<Key, std::deque<uint64_t>> byKey_;
};

/** Durations in classes an eighth of their size wide. */
class Durations {
  public:
    void add(uint64_t ns);
    uint64_t count() const { return count_; }
    uint64_t max() const { return max_; }
    /** Nearest rank; the upper end of its class, at most 12.5 % above what was measured. */
    uint64_t percentile(double percent) const;
    /** How many lie below 2^(i + 1) nanoseconds and not below 2^i. */
    std::array<uint64_t, 64> octaves() const;

  private:
    static constexpr size_t kParts = 8;
    std::array<uint32_t, 64 * kParts> classes_{};
    uint64_t count_ = 0;
    uint64_t max_ = 0;
};

inline bool isRequest(const VosMsgHeader &header) {
    return (header.flags & VOS_MSG_FLAG_REQUEST) != 0 && (header.flags & VOS_MSG_FLAG_RESPONSE) == 0;
}
inline bool isReply(const VosMsgHeader &header) {
    return (header.flags & VOS_MSG_FLAG_RESPONSE) != 0;
}

}  // namespace vosctl
