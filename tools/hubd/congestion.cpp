// Pauses of senders.
#include "congestion.h"

#include <algorithm>
#include <new>

#include "clock.h"

namespace hubd {

namespace {

constexpr size_t kHighWater = size_t{512} * 1024;
constexpr size_t kTightShare = 16;  // of that is what a queue may hold while memory is tight
constexpr int64_t kMomentNs = 100 * kNsPerMs;

}  // namespace

Congestion::Congestion(Memory &memory, Departures &departures, size_t queueLimit, int64_t deafAfterNs)
    : memory_{memory},
      departures_{departures},
      deafAfterNs_{deafAfterNs},
      queueLimit_{queueLimit},
      highWater_{std::max(std::min(kHighWater, queueLimit / 2), size_t{1})},
      lowWater_{highWater_ / 4} {}

bool Congestion::mustWait(Client &from, Client &to, size_t size) {
    const size_t waiting = to.queue.size();
    if (waiting == 0 || to.leaving || to.deaf) {
        return false;
    }
    const size_t ofBusy = to.slow ? queueLimit_ : highWater_;
    if (waiting < (memory_.isTight() ? highWater_ / kTightShare : ofBusy) && waiting + size <= queueLimit_) {
        return false;
    }
    // An event's sender waits for all of its receivers at once, not for one after the other.
    const auto same = [&](const Pause &pause) { return pause.sender == &from && pause.reader == &to; };
    if (std::ranges::none_of(pauses_, same)) {
        try {
            pauses_.push_back({&from, &to});
        } catch (const std::bad_alloc &) {
            return false;
        }
        to.fullNs = to.fullNs == 0 ? monotonicNs() : to.fullNs;
        from.pauses++;
        updateWatch(from);
    }
    return true;
}

int64_t Congestion::deadlineOf(const Client &reader) const {
    if (reader.leaving) {
        return INT64_MAX;
    }
    // Who took nothing for long while little waited for it has as much time as others once its queue is full.
    const int64_t sinceNs = std::max(reader.takenNs, reader.fullNs);
    return sinceNs + (reader.slow ? deafAfterNs_ : std::min(kMomentNs, deafAfterNs_));
}

std::optional<int64_t> Congestion::nextDeadlineNs() const {
    std::optional<int64_t> next;
    for (const Pause &pause : pauses_) {
        next = std::min(next.value_or(INT64_MAX), deadlineOf(*pause.reader));
    }
    return next;
}

void Congestion::judge(int64_t nowNs) {
    for (const Pause &pause : pauses_) {
        Client &reader = *pause.reader;
        if (deadlineOf(reader) > nowNs) {
            continue;
        }
        reader.slow = true;
        if (deadlineOf(reader) <= nowNs) {
            departures_.add(reader, "took nothing for " + std::to_string(deafAfterNs_ / kNsPerMs) +
                                        " ms (--deaf-after) while " + std::to_string(reader.queue.size()) +
                                        " bytes wait for it and others are held back");
            return;  // its end may let the next one go on
        }
    }
}

}  // namespace hubd
