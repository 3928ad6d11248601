// Pairs requests with replies and counts durations.
#include "traffic.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace vosctl {

RequestMatcher::Key RequestMatcher::keyOf(VosEntityId requester, VosEntityId peer, const VosMsgHeader &header) {
    constexpr uint64_t kNumbered = uint64_t{1} << 32;
    const bool numbered = (header.flags & VOS_MSG_FLAG_SRPC) != 0;
    return {requester, peer, header.type, numbered ? kNumbered | header.wordData : 0};
}

std::optional<Request> RequestMatcher::take(uint64_t number) {
    const auto node = open_.extract(number);
    return node.empty() ? std::nullopt : std::optional{node.mapped()};
}

std::optional<Request> RequestMatcher::ask(uint64_t number, uint64_t timeNs, const VosMsgHeader &request) {
    std::optional<Request> givenUp;
    if (open_.size() >= limit_) {
        givenUp = take(open_.begin()->first);
        VosMsgHeader like{};
        like.type = givenUp->type;
        like.flags = givenUp->srpc ? VOS_MSG_FLAG_SRPC : 0;
        like.wordData = givenUp->word;
        const auto queue = byKey_.find(keyOf(givenUp->src, givenUp->dst, like));
        queue->second.pop_front();
        if (queue->second.empty()) {
            byKey_.erase(queue);
        }
    }
    std::deque<uint64_t> &waiting = byKey_[keyOf(request.src, request.dst, request)];
    if (!waiting.empty()) {
        open_.at(waiting.back()).askedAgain = true;
    }
    waiting.push_back(number);
    open_[number] = {.number = number,
                     .timeNs = timeNs,
                     .src = request.src,
                     .dst = request.dst,
                     .type = request.type,
                     .word = request.wordData,
                     .srpc = (request.flags & VOS_MSG_FLAG_SRPC) != 0};
    return givenUp;
}

std::optional<Request> RequestMatcher::answer(const VosMsgHeader &reply) {
    const auto queue = byKey_.find(keyOf(reply.dst, reply.src, reply));
    if (queue == byKey_.end()) {
        return std::nullopt;
    }
    const uint64_t number = queue->second.front();
    queue->second.pop_front();
    if (queue->second.empty()) {
        byKey_.erase(queue);
    }
    return take(number);
}

std::vector<Request> RequestMatcher::restart(VosEntityId requester, VosEntityId peer) {
    std::vector<Request> lost;
    auto queue = byKey_.lower_bound({requester, peer, 0, 0});
    while (queue != byKey_.end() && std::get<0>(queue->first) == requester && std::get<1>(queue->first) == peer) {
        for (const uint64_t number : queue->second) {
            lost.push_back(*take(number));
        }
        queue = byKey_.erase(queue);
    }
    return lost;
}

void Durations::add(uint64_t ns) {
    const auto width = static_cast<size_t>(std::bit_width(ns | 1)) - 1;  // the octave
    const uint64_t part = width < 3 ? 0 : ns >> (width - 3) & (kParts - 1);
    classes_[width * kParts + part]++;
    count_++;
    max_ = std::max(max_, ns);
}

uint64_t Durations::percentile(double percent) const {
    const auto rank =
        std::max<uint64_t>(static_cast<uint64_t>(std::ceil(percent / 100 * static_cast<double>(count_))), 1);
    uint64_t seen = 0;
    for (size_t i = 0; i < classes_.size(); i++) {
        seen += classes_[i];
        if (seen >= rank && count_ > 0) {
            const size_t width = i / kParts;
            const uint64_t step = width < 3 ? uint64_t{1} << width : uint64_t{1} << (width - 3);
            return std::min(max_, (uint64_t{1} << width) + (i % kParts + 1) * step - 1);
        }
    }
    return max_;
}

std::array<uint64_t, 64> Durations::octaves() const {
    std::array<uint64_t, 64> sums{};
    for (size_t i = 0; i < classes_.size(); i++) {
        sums[i / kParts] += classes_[i];
    }
    return sums;
}

}  // namespace vosctl
