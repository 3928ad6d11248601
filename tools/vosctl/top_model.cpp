// Rates and durations out of the hub's counters and the copies of what it routes.
#include "top_model.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "common/message_line.h"
#include "common/msg_names.h"

namespace vosctl {

void TopModel::take(const Seen &seen, const Names &names) {
    const VosMsgHeader &header = seen.header;
    number_++;
    lost_ += seen.record.lost;
    const uint64_t size = sizeof header + header.dataLength;
    bytes_[header.src] += size;
    bytes_[header.dst] += size;
    if (isRequest(header)) {
        if (TopAnswers *answers = answersOf(header.dst, header.type)) {
            answers->asked++;
            answers->open++;
            if (const auto givenUp = matcher_.ask(number_, seen.record.realtimeNs, header)) {
                close(*givenUp);
            }
        }
    } else if (isReply(header)) {
        if (const auto request = matcher_.answer(header)) {
            close(*request);
            const uint64_t now = seen.record.realtimeNs;
            answersOf(request->dst, request->type)->durations.add(now - std::min(now, request->timeNs));
        }
    } else if (header.type == VOS_MSG_RESEND_REQUEST) {
        std::ranges::for_each(matcher_.restart(header.dst, header.src), [this](const Request &lost) { close(lost); });
    }
    if (followed_ != 0 && (header.src == followed_ || header.dst == followed_)) {
        constexpr size_t kMostLines = 200;
        lines_.push_back(msgline::messageLine(seen.record.realtimeNs, header, seen.payload,
                                              static_cast<hubproto::Verdict>(seen.record.verdict), names.of(header.src),
                                              names.of(header.dst)));
        if (lines_.size() > kMostLines) {
            lines_.pop_front();
        }
    }
}

// Of pairs beyond the limit nothing is counted: a client may ask for any type.
TopAnswers *TopModel::answersOf(VosEntityId peer, uint32_t type) {
    constexpr size_t kMostPairs = 2048;
    const auto found = answers_.find({peer, type});
    if (found != answers_.end()) {
        return &found->second;
    }
    if (answers_.size() >= kMostPairs) {
        return nullptr;
    }
    return &answers_.insert({{peer, type}, {.peer = peer, .type = type, .durations = {}}}).first->second;
}

void TopModel::close(const Request &request) {
    if (TopAnswers *answers = answersOf(request.dst, request.type); answers != nullptr && answers->open > 0) {
        answers->open--;
    }
}

void TopModel::look(const std::vector<hubproto::ClientRow> &rows, const hubproto::HubCounters &counters,
                    Clock::time_point now) {
    const double seconds = std::chrono::duration<double>{now - lookedAt_}.count();
    const bool first = lookedAt_ == Clock::time_point{};
    const auto rate = [&](uint64_t newer, uint64_t older) {
        return first || seconds <= 0 ? 0.0 : static_cast<double>(newer - std::min(newer, older)) / seconds;
    };
    clients_.clear();
    for (const hubproto::ClientRow &row : rows) {
        const auto known = before_.find(row.eid);
        const bool same = known != before_.end() && known->second.pid == row.pid;
        const hubproto::ClientRow before = same ? known->second : hubproto::ClientRow{};
        TopClient client{.row = row};
        client.inPerSecond = rate(row.messagesIn, before.messagesIn);
        client.outPerSecond = rate(row.messagesOut, before.messagesOut);
        client.bytesPerSecond = rate(bytes_[row.eid], 0);
        clients_.push_back(client);
    }
    before_.clear();
    std::ranges::for_each(rows, [this](const hubproto::ClientRow &row) { before_[row.eid] = row; });
    for (auto &[key, answers] : answers_) {
        answers.perSecond = rate(answers.asked, std::exchange(askedBefore_[key], answers.asked));
        const auto client =
            std::ranges::find(clients_, answers.peer, [](const TopClient &each) { return each.row.eid; });
        if (client != clients_.end()) {
            client->open += answers.open;
            client->p99Ns = std::max(client->p99Ns, answers.durations.percentile(99));
        }
    }
    messagesPerSecond_ = rate(counters.routed, counters_.routed);
    bytesPerSecond_ = rate(counters.bytesRouted, counters_.bytesRouted);
    counters_ = counters;
    lookedAt_ = now;
    bytes_.clear();
}

void TopModel::clear() {
    matcher_ = RequestMatcher{};
    answers_.clear();
    askedBefore_.clear();
    lost_ = 0;
}

void TopModel::follow(VosEntityId eid) {
    followed_ = eid;
    lines_.clear();
}

std::vector<const TopAnswers *> TopModel::answers() const {
    std::vector<const TopAnswers *> all;
    for (const auto &[key, answers] : answers_) {
        all.push_back(&answers);
    }
    std::ranges::stable_sort(all, std::greater{},
                             [](const TopAnswers *each) { return each->durations.percentile(99); });
    return all;
}

nlohmann::ordered_json topJson(const TopModel &model, const Names &names) {
    auto clients = nlohmann::ordered_json::array();
    for (const TopClient &client : model.clients()) {
        clients.push_back({{"eid", client.row.eid},
                           {"name", client.row.name},
                           {"inPerSecond", client.inPerSecond},
                           {"outPerSecond", client.outPerSecond},
                           {"bytesPerSecond", client.bytesPerSecond},
                           {"queuedBytes", client.row.queuedBytes},
                           {"heldBack", client.row.heldBack},
                           {"heartbeats", client.row.heartbeats},
                           {"open", client.open},
                           {"p99Ns", client.p99Ns}});
    }
    auto answers = nlohmann::ordered_json::array();
    for (const TopAnswers *each : model.answers()) {
        answers.push_back({{"peer", each->peer},
                           {"peerName", names.of(each->peer)},
                           {"type", each->type},
                           {"typeName", msgnames::typeText(each->type)},
                           {"requests", each->asked},
                           {"open", each->open},
                           {"answered", each->durations.count()},
                           {"medianNs", each->durations.percentile(50)},
                           {"p99Ns", each->durations.percentile(99)},
                           {"maxNs", each->durations.max()}});
    }
    return {{"uptimeMs", model.hub().uptimeMs},
            {"messagesPerSecond", model.messagesPerSecond()},
            {"bytesPerSecond", model.bytesPerSecond()},
            {"memoryUsed", model.hub().memoryUsed},
            {"memoryLimit", model.hub().memoryLimit},
            {"lost", model.lost()},
            {"clients", clients},
            {"answers", answers}};
}

}  // namespace vosctl
