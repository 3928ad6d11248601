// Picks the messages of two entities out of a capture.
#include "replay_script.h"

#include <set>

#include "arguments.h"
#include "capture.h"
#include "command.h"
#include "common/message_line.h"
#include "message_feed.h"
#include "traffic.h"

namespace vosctl {

namespace {

constexpr size_t kMostBytes = size_t{256} << 20;

/** An entity as the user named it. One that was restarted may have had several ids. */
class Party {
  public:
    Party(const std::string &nameOrNumber, const Names &names)
        : text_{nameOrNumber}, number_{parseNumber(nameOrNumber)}, names_{names} {}
    bool is(VosEntityId eid) const { return number_ ? eid == *number_ : names_.of(eid) == text_; }

  private:
    std::string text_;
    std::optional<uint32_t> number_;
    const Names &names_;
};

std::string known(const std::set<VosEntityId> &seen, const Names &names) {
    constexpr size_t kMost = 20;
    std::set<std::string> texts;
    for (const VosEntityId eid : seen) {
        const std::string name = names.of(eid);
        texts.insert(name.empty() ? std::to_string(eid) : msgline::printable(name));
    }
    std::string all;
    size_t count = 0;
    for (const std::string &text : texts) {
        if (count++ == kMost) {
            return all + " ...";
        }
        all += (all.empty() ? "" : ", ") + text;
    }
    return all;
}

class Builder {
  public:
    void fromClient(const Captured &message) {
        if (message.cut) {
            throw Failure{"message " + std::to_string(number_) +
                          " is longer than the capture of it and cannot be sent"};
        }
        if (isRequest(message.header)) {
            matcher_.ask(script_.steps.size(), message.timeNs, message.header);
        }
        script_.steps.push_back({.sent = copy(message), .reply = {}, .after = heard_});
    }
    void fromDaemon(const Captured &message) {
        if (isReply(message.header)) {
            heard_++;
            if (const auto request = matcher_.answer(message.header)) {
                script_.steps[request->number].reply = copy(message);
            }
            return;
        }
        heard_ += isRequest(message.header) ? 1 : 0;
        script_.events[message.header.type].push_back(copy(message));
    }
    void passed() { number_++; }
    ReplayScript &script() { return script_; }

  private:
    Message copy(const Captured &message) {
        bytes_ += sizeof(Message) + message.payload.size();
        if (bytes_ > kMostBytes) {
            throw Failure{"the conversation is longer than " + std::to_string(kMostBytes >> 20) +
                          " MiB; cut the capture with editcap"};
        }
        return {number_, message.timeNs, message.header, {message.payload.begin(), message.payload.end()}};
    }

    ReplayScript script_;
    RequestMatcher matcher_;
    uint64_t number_ = 0;
    size_t heard_ = 0;
    size_t bytes_ = 0;
};

}  // namespace

bool isHousekeeping(uint32_t type) {
    return type == VOS_MSG_REQUEUE_WAKEUP || type == VOS_MSG_RESEND_REQUEST || type == VOS_MSG_LAUNCHED;
}

ReplayScript readScript(const std::string &path, const std::string &client, const std::string &daemon) {
    Names names;
    std::set<VosEntityId> seen;
    for (CaptureFile first{path}; const auto message = first.next();) {
        names.learn(message->header, message->payload);
        constexpr size_t kMostSeen = 4096;
        if (seen.size() < kMostSeen) {
            seen.insert({message->header.src, message->header.dst});
        }
    }
    const Party from{client, names};
    const Party to{daemon, names};
    Builder builder;
    CaptureFile capture{path};
    while (const auto message = capture.next()) {
        builder.passed();
        if (from.is(message->header.src) && to.is(message->header.dst)) {
            builder.fromClient(*message);
        } else if (to.is(message->header.src) && from.is(message->header.dst) &&
                   !isHousekeeping(message->header.type)) {
            builder.fromDaemon(*message);
        }
    }
    if (!capture.problem().empty()) {
        throw Failure{"'" + path + "': " + capture.problem() + "; cut it with editcap to what is whole"};
    }
    if (builder.script().steps.empty()) {
        throw Failure{"'" + path + "' holds no message from '" + client + "' to '" + daemon +
                      "'; it knows: " + known(seen, names)};
    }
    return std::move(builder.script());
}

}  // namespace vosctl
