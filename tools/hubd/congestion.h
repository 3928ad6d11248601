// Slowing down who floods a slow reader, for a moment.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "poller.h"

namespace hubd {

/** A client that is read faster than the destination of its messages takes them would fill that one's queue to the
 *  limit. It is left unread for a while, as a full socket would slow it down, so that bursts of any length get through
 *  to a reader that works; what has been read from it already is kept. A client's own requests to the hub are answered
 *  in the same way. A reader that does not catch up in that time is slow: nobody waits for it again before its
 *  queue has run empty. So a stuck reader costs others one short pause and then loses its own connection. */
class Congestion {
  public:
    Congestion(Poller &poller, size_t queueLimit, int64_t longestPauseNs);

    /** Called after a message for `to` had to be queued. */
    void queued(Client &from, Client &to) { mustWait(from, to, 0); }
    /** Whether a message of this size has to wait, for which its sender is paused. */
    bool mustWait(Client &from, Client &to, size_t size);
    /** What may be sent at once to a client that need not be waited for. */
    size_t longestRun() const { return highWater_; }
    /** Called after a part of the queue has left. */
    void drained(Client &client);
    void forget(Client &client);

    /** When the next pause ends by itself. */
    std::optional<int64_t> nextDeadlineNs() const;
    void endPauses(int64_t nowNs);

  private:
    struct Pause {
        Client *sender;
        Client *reader;
        int64_t deadlineNs;
    };
    template <typename Predicate>
    void resumeIf(Predicate predicate);

    Poller &poller_;
    int64_t longestPauseNs_;
    size_t queueLimit_;
    size_t highWater_;
    size_t lowWater_;
    std::vector<Pause> pauses_;  // in order of deadline
};

}  // namespace hubd
