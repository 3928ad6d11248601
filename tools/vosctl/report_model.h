// What a capture tells, in memory that does not grow with it.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <utility>

#include "capture.h"
#include "message_feed.h"
#include "traffic.h"

namespace vosctl {

/** A message that the page shows. */
struct Kept {
    uint64_t number = 0;
    uint64_t timeNs = 0;
    uint32_t verdict = 0;
    uint32_t lost = 0;
    VosMsgHeader header{};
    uint64_t partner = 0;  // the number of its request or answer; 0: none
    Bytes payload;         // its beginning
};

/** Messages from one entity to another. */
struct Talk {
    uint64_t requests = 0;
    uint64_t replies = 0;
    uint64_t others = 0;
    uint64_t bytes = 0;
};

/** Requests of one type to one peer. */
struct Answers {
    uint64_t asked = 0;
    uint64_t unanswered = 0;
    uint64_t late = 0;
    Durations durations;
};

/** A request that the report lists. */
struct Listed {
    Request request;
    uint64_t afterNs = 0;  // its reply, or the end of the capture
    std::string why;
};

/** The first of many, and how many there are. */
struct ListOf {
    static constexpr size_t kMost = 1000;
    std::deque<Listed> first;
    uint64_t count = 0;

    void add(Listed listed);
};

class ReportModel {
  public:
    /** @param kept  how many messages, the newest, are kept for the diagram */
    ReportModel(size_t kept, uint64_t lateNs) : most_{kept}, lateNs_{lateNs} {}

    void take(const Captured &message);
    /** Called after the last one: what is open now stays unanswered. */
    void finish();

    uint64_t messages() const { return number_; }
    uint64_t lost() const { return lost_; }
    uint64_t cut() const { return cut_; }
    uint64_t firstNs() const { return firstNs_; }
    uint64_t lastNs() const { return lastNs_; }
    uint64_t lateNs() const { return lateNs_; }
    /** Replies to requests before the capture. */
    uint64_t unasked() const { return unasked_; }
    /** Messages between pairs beyond what is counted apart. */
    uint64_t uncounted() const { return uncounted_; }
    const Names &names() const { return names_; }
    const std::deque<Kept> &kept() const { return kept_; }
    const std::map<std::pair<VosEntityId, VosEntityId>, Talk> &talks() const { return talks_; }
    const std::map<std::pair<VosEntityId, uint32_t>, Answers> &answers() const { return answers_; }
    const ListOf &unanswered() const { return unanswered_; }
    const ListOf &late() const { return late_; }

  private:
    void keep(const Captured &message);
    void count(const Captured &message);
    void pair(const Captured &message);
    void answered(const Captured &message, const Request &request);
    void giveUp(const Request &request, const char *why);
    Answers *answersOf(VosEntityId peer, uint32_t type);
    Kept *keptAt(uint64_t number);

    size_t most_;
    uint64_t lateNs_;
    Names names_;
    RequestMatcher matcher_;
    std::deque<Kept> kept_;
    size_t keptBytes_ = 0;
    std::map<std::pair<VosEntityId, VosEntityId>, Talk> talks_;
    std::map<std::pair<VosEntityId, uint32_t>, Answers> answers_;
    ListOf unanswered_;
    ListOf late_;
    uint64_t number_ = 0;
    uint64_t lost_ = 0;
    uint64_t cut_ = 0;
    uint64_t unasked_ = 0;
    uint64_t uncounted_ = 0;
    uint64_t firstNs_ = 0;
    uint64_t lastNs_ = 0;
};

/** The tables as one object. */
nlohmann::ordered_json reportJson(const ReportModel &model);

}  // namespace vosctl
