// vosctl replay: sends a recorded client's side to a daemon again and compares what the daemon answers.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "arguments.h"
#include "command.h"
#include "common/message_line.h"
#include "common/msg_names.h"
#include "interfaces.h"
#include "output.h"
#include "replay_compare.h"
#include "replay_script.h"
#include "traffic.h"

namespace {

using Clock = std::chrono::steady_clock;
using vosctl::Difference;
using vosctl::Message;

struct Options {
    std::string capture;
    std::string client;
    std::string daemon;
    bool atOnce = false;
    std::vector<std::string> ignored;
    uint32_t timeoutMs = vosctl::kDefaultTimeoutMs;
    bool json = false;
};

class Replay {
  public:
    Replay(const vosctl::ReplayScript &script, const Options &options)
        : script_{script},
          options_{options},
          hub_{options.client},
          daemon_{hub_.find(options.daemon)},
          replies_(script.steps.size()) {
        hub_.requirePresence(daemon_);
        for (const auto &[type, recorded] : script_.events) {
            if ((recorded.front().header.flags & VOS_MSG_FLAG_EVENT) != 0) {
                hub_.registerFor(type);
            }
        }
    }

    void run() {
        const Clock::time_point start = Clock::now();
        for (size_t i = 0; i < script_.steps.size(); i++) {
            const vosctl::Step &step = script_.steps[i];
            const std::chrono::nanoseconds offset{step.sent.timeNs -
                                                  std::min(step.sent.timeNs, script_.steps.front().sent.timeNs)};
            const Clock::time_point due = options_.atOnce ? start : start + offset;
            awaitUntil(due, [] { return false; });
            awaitUntil(patience(), [&] { return heard_ >= step.after; });
            heard_ = std::max(heard_, step.after);  // what did not come is not waited for again
            send(step.sent, i);
        }
        awaitUntil(patience(), [this] { return complete(); });
    }

    std::vector<Difference> differences(const std::vector<vosctl::Ignored> &ignored) const {
        std::vector<Difference> all;
        const auto add = [&all](std::vector<Difference> found) { std::ranges::move(found, std::back_inserter(all)); };
        for (size_t i = 0; i < replies_.size(); i++) {
            add(vosctl::compare("reply", script_.steps[i].reply, replies_[i], ignored));
        }
        std::map<uint32_t, std::vector<Message>> now = events_;
        for (const auto &[type, recorded] : script_.events) {
            now.try_emplace(type);
        }
        const std::vector<Message> none;
        const auto at = [](const std::vector<Message> &events, size_t i) {
            return i < events.size() ? std::optional{events[i]} : std::nullopt;
        };
        for (const auto &[type, came] : now) {
            const auto found = script_.events.find(type);
            const std::vector<Message> &recorded = found != script_.events.end() ? found->second : none;
            for (size_t i = 0; i < std::max(recorded.size(), came.size()); i++) {
                add(vosctl::compare("event", at(recorded, i), at(came, i), ignored));
            }
        }
        return all;
    }
    size_t compared() const {
        size_t count = 0;
        std::ranges::for_each(script_.steps, [&](const vosctl::Step &step) { count += step.reply ? 1 : 0; });
        std::ranges::for_each(script_.events, [&](const auto &events) { count += events.second.size(); });
        return count;
    }

  private:
    Clock::time_point patience() const { return Clock::now() + std::chrono::milliseconds{options_.timeoutMs}; }

    template <typename Done>
    void awaitUntil(Clock::time_point end, Done done) {
        while (!done()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
            if (left <= 0) {
                return;
            }
            if (const vosctl::MessagePtr msg =
                    hub_.receiveWithin(static_cast<uint32_t>(std::min<int64_t>(left, 60'000)))) {
                take(*msg);
            }
        }
    }

    void send(const Message &recorded, size_t step) {
        const vosctl::MessagePtr msg = hub_.build(daemon_.eid, recorded.header.type, recorded.header.flags,
                                                  recorded.header.wordData, recorded.payload);
        msg->sequenceNumber = recorded.header.sequenceNumber;
        if (vosctl::isRequest(*msg)) {
            matcher_.ask(step, 0, *msg);
        }
        hub_.send(*msg);
    }

    void take(const VosMsgHeader &msg) {
        if (msg.src != daemon_.eid) {
            return;
        }
        if (msg.type == VOS_MSG_RESEND_REQUEST) {
            throw vosctl::Failure{daemon_.text + " was restarted during the replay; its output says why"};
        }
        if (vosctl::isHousekeeping(msg.type)) {
            return;
        }
        const vosctl::ByteView payload = vosctl::payloadOf(msg);
        Message message{.number = 0, .timeNs = 0, .header = msg, .payload = {payload.begin(), payload.end()}};
        heard_ += vosctl::isReply(msg) || vosctl::isRequest(msg) ? 1 : 0;
        if (!vosctl::isReply(msg)) {
            events_[msg.type].push_back(std::move(message));
        } else if (const auto request = matcher_.answer(msg)) {
            replies_[request->number] = std::move(message);
        }
    }

    bool complete() const {
        for (size_t i = 0; i < replies_.size(); i++) {
            if (script_.steps[i].reply && !replies_[i]) {
                return false;
            }
        }
        return std::ranges::all_of(script_.events, [this](const auto &recorded) {
            const auto now = events_.find(recorded.first);
            return now != events_.end() && now->second.size() >= recorded.second.size();
        });
    }

    const vosctl::ReplayScript &script_;
    const Options &options_;
    vosctl::Hub hub_;
    vosctl::Entity daemon_;
    vosctl::RequestMatcher matcher_;
    std::vector<std::optional<Message>> replies_;
    std::map<uint32_t, std::vector<Message>> events_;
    size_t heard_ = 0;
};

void printText(const std::vector<Difference> &differences) {
    const Difference *before = nullptr;
    for (const Difference &each : differences) {
        const bool same = before != nullptr && before->message == each.message && each.message != 0;
        if (!same) {
            const std::string type = vosctl::typeName(each.type);
            each.message == 0 ? printf("%s: one %s too many\n", type.c_str(), each.kind.c_str())
                              : printf("message %ju, %s: the %s differs\n", static_cast<uintmax_t>(each.message),
                                       type.c_str(), each.kind.c_str());
        }
        printf("    %-12s  recorded %s\n    %-12s  now      %s\n", each.field.c_str(), each.recorded.c_str(), "",
               each.now.c_str());
        before = &each;
    }
}

void printJson(const std::vector<Difference> &differences, size_t sent, size_t compared) {
    auto all = nlohmann::ordered_json::array();
    for (const Difference &each : differences) {
        all.push_back({{"message", each.message},
                       {"type", each.type},
                       {"typeName", vosctl::typeName(each.type)},
                       {"kind", each.kind},
                       {"field", each.field},
                       {"recorded", each.recorded},
                       {"now", each.now}});
    }
    vosctl::printJson({{"sent", sent}, {"compared", compared}, {"differences", all}});
}

void run(const Options &options) {
    const std::vector<vosctl::Ignored> ignored{options.ignored.begin(), options.ignored.end()};
    const vosctl::ReplayScript script = vosctl::readScript(options.capture, options.client, options.daemon);
    Replay replay{script, options};
    replay.run();
    const std::vector<Difference> differences = replay.differences(ignored);
    if (options.json) {
        printJson(differences, script.steps.size(), replay.compared());
    } else {
        printText(differences);
        printf("sent: %zu, answers and events compared: %zu, differences: %zu\n", script.steps.size(),
               replay.compared(), differences.size());
    }
    vosctl::flushOutput();
    if (!differences.empty()) {
        throw vosctl::Failure{options.daemon + " does not answer as recorded; --ignore names what may differ"};
    }
}

void setUp(vosctl::Arguments app) {
    auto options = std::make_shared<Options>();
    app.option("file", options->capture, "a capture of 'vosctl record'").called("FILE").required().anExistingFile();
    app.option("--as", options->client, "whose side is sent again: name or id in the capture")
        .called("CLIENT")
        .required();
    app.option("--to", options->daemon, "the daemon: name or id in the capture and on the hub")
        .called("DAEMON")
        .required();
    app.flag("--at-once", options->atOnce, "wait for what had come before, not for the time in between");
    app.option("--ignore", options->ignored, "TYPE, TYPE:word, TYPE:FIELD or TYPE:FROM-TO in bytes may differ")
        .called("WHAT")
        .oneValueEach();
    vosctl::addTimeout(app, options->timeoutMs);
    vosctl::addJson(app, options->json);
    vosctl::addInterfaces(app);
    app.runs([options] { run(*options); });
}
const vosctl::Command kCommand{"replay", "send a recorded client's side again and compare the answers", setUp};

}  // namespace
