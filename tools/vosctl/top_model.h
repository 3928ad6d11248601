// What vosctl top shows, without the screen it is shown on.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <utility>
#include <vector>

#include "common/hub_protocol.h"
#include "message_feed.h"
#include "traffic.h"

namespace vosctl {

struct TopClient {
    hubproto::ClientRow row;
    double inPerSecond = 0;  // messages that the hub got from it
    double outPerSecond = 0;
    double bytesPerSecond = 0;  // both ways
    uint64_t open = 0;          // requests that it has not answered
    uint64_t p99Ns = 0;         // of its answers; 0: none
};

/** Answers of one peer to one type of request. */
struct TopAnswers {
    VosEntityId peer;
    uint32_t type;
    uint64_t asked = 0;
    uint64_t open = 0;
    double perSecond = 0;
    Durations durations;
};

class TopModel {
  public:
    using Clock = std::chrono::steady_clock;

    /** Counts a message that passed. */
    void take(const Seen &seen, const Names &names);
    /** Works out the rates since the last look. */
    void look(const std::vector<hubproto::ClientRow> &rows, const hubproto::HubCounters &counters,
              Clock::time_point now);
    /** Begins to count answers anew. */
    void clear();
    /** Keeps the last lines of this entity's messages; 0: of none. */
    void follow(VosEntityId eid);

    const std::vector<TopClient> &clients() const { return clients_; }
    std::vector<const TopAnswers *> answers() const;
    const hubproto::HubCounters &hub() const { return counters_; }
    double messagesPerSecond() const { return messagesPerSecond_; }
    double bytesPerSecond() const { return bytesPerSecond_; }
    /** Copies that did not arrive: the figures made of them are too low. */
    uint64_t lost() const { return lost_; }
    const std::deque<std::string> &lines() const { return lines_; }

  private:
    using Key = std::pair<VosEntityId, uint32_t>;

    TopAnswers *answersOf(VosEntityId peer, uint32_t type);
    void close(const Request &request);

    RequestMatcher matcher_;
    std::map<Key, TopAnswers> answers_;
    std::map<Key, uint64_t> askedBefore_;
    std::map<VosEntityId, uint64_t> bytes_;  // since the last look
    std::map<VosEntityId, hubproto::ClientRow> before_;
    std::vector<TopClient> clients_;
    hubproto::HubCounters counters_{};
    Clock::time_point lookedAt_{};
    double messagesPerSecond_ = 0;
    double bytesPerSecond_ = 0;
    uint64_t number_ = 0;
    uint64_t lost_ = 0;
    VosEntityId followed_ = 0;
    std::deque<std::string> lines_;
};

nlohmann::ordered_json topJson(const TopModel &model, const Names &names);

/** How the screen is set. */
struct TopView {
    size_t sort = 0;  // column of clients
    bool reverse = false;
    std::string filter;        // a part of the name
    VosEntityId followed = 0;  // 0: everybody
    VosEntityId selected = 0;
    std::string note;  // in the last line, in place of the keys
};

/** A line of the screen. */
struct TopLine {
    enum class Look { kPlain, kHeader, kSelected, kAlarm };
    std::string text;
    Look look = Look::kPlain;
};

constexpr size_t kTopWidth = 80;
constexpr size_t kTopHeight = 24;
constexpr size_t kTopSorts = 8;

/** Clients that pass the filter, in order. */
std::vector<const TopClient *> sortedClients(const TopModel &model, const TopView &view);
/** Exactly `height` lines that fit into `width` columns. */
std::vector<TopLine> topLines(const TopModel &model, const Names &names, const TopView &view, size_t width,
                              size_t height);

}  // namespace vosctl
