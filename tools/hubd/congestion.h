// Holding back who sends to a reader faster than that one takes it.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "memory.h"
#include "outbox.h"

namespace hubd {

/** A client whose messages wait in a long queue is left unread until the queue is short again, as a full socket would
 *  hold it back, so that bursts of any length get through to a reader that works; what has been read from it already
 *  is kept. A client's own requests to the hub are answered in the same way. The queue of a reader that takes nothing
 *  for a moment may grow to the limit meanwhile: it may be busy. A reader for which others wait and which goes on to
 *  take nothing is deaf and leaves, one at a time: of two that flood each other one may stay. */
class Congestion {
  public:
    Congestion(Memory &memory, Departures &departures, size_t queueLimit, int64_t deafAfterNs);

    /** Called after a message for `to` had to be queued. */
    void queued(Client &from, Client &to) { mustWait(from, to, 0); }
    /** Whether a message of this size has to wait, for which its sender is paused. */
    bool mustWait(Client &from, Client &to, size_t size);
    /** What may be sent at once to a client that need not be waited for. */
    size_t longestRun() const { return highWater_; }

    /** Called after a part of the queue has left. `Resumed(Client &)` gets everybody who need not wait any more. */
    template <typename Resumed>
    void drained(Client &reader, Resumed &&resumed) {
        if (reader.queue.size() <= (reader.slow && !memory_.isTight() ? queueLimit_ / 2 : lowWater_)) {
            reader.fullNs = 0;
            resumeIf([&](const Pause &pause) { return pause.reader == &reader; }, resumed);
        }
    }
    template <typename Resumed>
    void forget(Client &client, Resumed &&resumed) {
        resumeIf([&](const Pause &pause) { return pause.reader == &client || pause.sender == &client; }, resumed);
    }

    /** When the next reader has taken nothing for too long. */
    std::optional<int64_t> nextDeadlineNs() const;
    /** Gives a deaf reader up, and lets queues of those grow that took nothing for a moment. */
    template <typename Resumed>
    void runDeadlines(int64_t nowNs, Resumed &&resumed) {
        judge(nowNs);
        resumeIf([&](const Pause &pause) { return mayGrow(*pause.reader); }, resumed);
    }

  private:
    struct Pause {
        Client *sender;
        Client *reader;
    };
    template <typename Predicate, typename Resumed>
    void resumeIf(Predicate predicate, Resumed &resumed) {
        std::erase_if(pauses_, [&](const Pause &pause) {
            if (!predicate(pause)) {
                return false;
            }
            if (--pause.sender->pauses == 0) {
                updateWatch(*pause.sender);
                resumed(*pause.sender);
            }
            return true;
        });
    }
    void judge(int64_t nowNs);
    int64_t deadlineOf(const Client &reader) const;
    bool mayGrow(const Client &reader) const {
        return reader.slow && !memory_.isTight() && reader.queue.size() < queueLimit_ / 2;
    }

    Memory &memory_;
    Departures &departures_;
    int64_t deafAfterNs_;
    size_t queueLimit_;
    size_t highWater_;
    size_t lowWater_;
    std::vector<Pause> pauses_;
};

}  // namespace hubd
