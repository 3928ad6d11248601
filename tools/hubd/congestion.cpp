// Pauses of senders.
#include "congestion.h"

#include <algorithm>

#include "clock.h"

namespace hubd {

namespace {

constexpr size_t kHighWater = size_t{512} * 1024;

}  // namespace

Congestion::Congestion(Poller &poller, size_t queueLimit, int64_t longestPauseNs)
    : poller_{poller},
      longestPauseNs_{longestPauseNs},
      queueLimit_{queueLimit},
      highWater_{std::min(kHighWater, queueLimit / 2)},
      lowWater_{highWater_ / 4} {}

bool Congestion::mustWait(Client &from, Client &to, size_t size) {
    const size_t waiting = to.queue.size();
    if (waiting == 0 || to.slow || to.leaving || (waiting < highWater_ && waiting + size <= queueLimit_)) {
        return false;
    }
    // An event's sender waits for all of its receivers at once, not for one after the other.
    from.pauses++;
    poller_.update(from);
    pauses_.push_back({&from, &to, monotonicNs() + longestPauseNs_});
    return true;
}

template <typename Predicate>
void Congestion::resumeIf(Predicate predicate) {
    std::erase_if(pauses_, [&](const Pause &pause) {
        if (!predicate(pause)) {
            return false;
        }
        pause.sender->pauses--;
        poller_.update(*pause.sender);
        return true;
    });
}

void Congestion::drained(Client &client) {
    if (client.queue.empty()) {
        client.slow = false;
    }
    if (client.queue.size() <= lowWater_) {
        resumeIf([&](const Pause &pause) { return pause.reader == &client; });
    }
}

void Congestion::forget(Client &client) {
    resumeIf([&](const Pause &pause) { return pause.reader == &client || pause.sender == &client; });
}

std::optional<int64_t> Congestion::nextDeadlineNs() const {
    return pauses_.empty() ? std::nullopt : std::optional{pauses_.front().deadlineNs};
}

void Congestion::endPauses(int64_t nowNs) {
    resumeIf([&](const Pause &pause) {
        const bool over = pause.deadlineNs <= nowNs;
        pause.reader->slow = pause.reader->slow || over;
        return over;
    });
}

}  // namespace hubd
