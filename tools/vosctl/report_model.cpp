// Counts what a capture holds and keeps the newest of it.
#include "report_model.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "common/message_line.h"
#include "interfaces.h"

namespace vosctl {

namespace {

constexpr size_t kKeptPayload = 512;                     // of each message
constexpr size_t kKeptBytes = size_t{64} * 1024 * 1024;  // of all payloads
constexpr size_t kMostPairs = 4096;

}  // namespace

void ListOf::add(Listed listed) {
    count++;
    if (first.size() < kMost) {
        first.push_back(std::move(listed));
    }
}

void ReportModel::take(const Captured &message) {
    number_++;
    firstNs_ = number_ == 1 ? message.timeNs : firstNs_;
    lastNs_ = std::max(lastNs_, message.timeNs);
    lost_ += message.lost;
    cut_ += message.cut ? 1 : 0;
    names_.learn(message.header, message.payload);
    keep(message);
    count(message);
    pair(message);
}

void ReportModel::keep(const Captured &message) {
    const ByteView beginning = message.payload.first(std::min(message.payload.size(), kKeptPayload));
    kept_.push_back({.number = number_,
                     .timeNs = message.timeNs,
                     .verdict = message.verdict,
                     .lost = message.lost,
                     .header = message.header,
                     .payload = {beginning.begin(), beginning.end()}});
    keptBytes_ += beginning.size();
    while (kept_.size() > most_ || keptBytes_ > kKeptBytes) {
        keptBytes_ -= kept_.front().payload.size();
        kept_.pop_front();
    }
}

void ReportModel::count(const Captured &message) {
    const VosMsgHeader &header = message.header;
    const std::pair key{header.src, header.dst};
    if (talks_.size() >= kMostPairs && !talks_.contains(key)) {
        uncounted_++;
        return;
    }
    Talk &talk = talks_[key];
    (isRequest(header) ? talk.requests : isReply(header) ? talk.replies : talk.others)++;
    talk.bytes += sizeof header + header.dataLength;
}

void ReportModel::pair(const Captured &message) {
    const VosMsgHeader &header = message.header;
    if (isRequest(header)) {
        if (Answers *answers = answersOf(header.dst, header.type)) {
            answers->asked++;
        }
        if (const auto givenUp = matcher_.ask(number_, message.timeNs, header)) {
            giveUp(*givenUp, "too many open requests");
        }
    } else if (isReply(header)) {
        if (const auto request = matcher_.answer(header)) {
            answered(message, *request);
        } else {
            unasked_++;
        }
    } else if (header.type == VOS_MSG_RESEND_REQUEST) {
        for (const Request &lost : matcher_.restart(header.dst, header.src)) {
            giveUp(lost, "the peer was restarted");
        }
    }
}

void ReportModel::answered(const Captured &message, const Request &request) {
    const uint64_t tookNs = message.timeNs - std::min(message.timeNs, request.timeNs);
    if (Kept *asked = keptAt(request.number)) {
        asked->partner = number_;
    }
    if (Kept *reply = keptAt(number_)) {
        reply->partner = request.number;
    }
    Answers *answers = answersOf(request.dst, request.type);
    const bool nobody = message.verdict == static_cast<uint32_t>(hubproto::Verdict::kNoDestination);
    if (nobody || tookNs > lateNs_) {
        late_.add({request, tookNs,
                   nobody               ? "the requester was gone"
                   : request.askedAgain ? "the requester had asked again: it may have taken this for the next answer"
                                        : ""});
        if (answers != nullptr) {
            answers->late++;
        }
    }
    if (answers != nullptr) {
        answers->durations.add(tookNs);
    }
}

void ReportModel::giveUp(const Request &request, const char *why) {
    unanswered_.add({request, lastNs_ - std::min(lastNs_, request.timeNs), why});
    if (Answers *answers = answersOf(request.dst, request.type)) {
        answers->unanswered++;
    }
}

void ReportModel::finish() {
    for (const auto &[number, request] : matcher_.open()) {
        giveUp(request, "");
    }
}

Answers *ReportModel::answersOf(VosEntityId peer, uint32_t type) {
    const std::pair key{peer, type};
    return answers_.size() < kMostPairs || answers_.contains(key) ? &answers_[key] : nullptr;
}

Kept *ReportModel::keptAt(uint64_t number) {
    const uint64_t first = kept_.empty() ? number + 1 : kept_.front().number;
    return number < first ? nullptr : &kept_[number - first];
}

nlohmann::ordered_json reportJson(const ReportModel &model) {
    const Names &names = model.names();
    auto answers = nlohmann::ordered_json::array();
    for (const auto &[key, each] : model.answers()) {
        answers.push_back({{"peer", key.first},
                           {"peerName", names.of(key.first)},
                           {"type", key.second},
                           {"typeName", typeName(key.second)},
                           {"requests", each.asked},
                           {"answered", each.durations.count()},
                           {"unanswered", each.unanswered},
                           {"late", each.late},
                           {"medianNs", each.durations.percentile(50)},
                           {"p99Ns", each.durations.percentile(99)},
                           {"maxNs", each.durations.max()}});
    }
    auto talks = nlohmann::ordered_json::array();
    for (const auto &[key, talk] : model.talks()) {
        talks.push_back({{"src", key.first},
                         {"srcName", names.of(key.first)},
                         {"dst", key.second},
                         {"dstName", names.of(key.second)},
                         {"requests", talk.requests},
                         {"replies", talk.replies},
                         {"others", talk.others},
                         {"bytes", talk.bytes}});
    }
    return {{"messages", model.messages()},
            {"from", msgline::timeText(model.firstNs(), true)},
            {"to", msgline::timeText(model.lastNs(), true)},
            {"lost", model.lost()},
            {"cut", model.cut()},
            {"unanswered", model.unanswered().count},
            {"late", model.late().count},
            {"answers", answers},
            {"talks", talks}};
}

}  // namespace vosctl
