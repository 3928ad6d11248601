// A handle's place in the stream of bytes from the hub, and the time that a call may wait there.
#pragma once

#include "vos/msg.h"

namespace vos {

constexpr int64_t kNsPerMs = 1'000'000;

int64_t monotonicNs();

/** Until when a call may wait. Its time begins with the first wait, so a call that need not wait reads no clock. */
class Deadline {
  public:
    /** Without limit. */
    Deadline() = default;
    explicit Deadline(uint32_t ms) : budgetNs_{int64_t{ms} * kNsPerMs} {}
    /** The given instant on the clock of monotonicNs(). */
    static Deadline at(int64_t endNs) {
        Deadline deadline;
        deadline.endNs_ = endNs;
        return deadline;
    }

    /** `ms` milliseconds, but never past the end of this one, which is at() an instant or without limit. */
    Deadline sliceOf(uint32_t ms) const {
        Deadline slice{ms};
        slice.endNs_ = endNs_;
        return slice;
    }

    bool isLimited() const { return budgetNs_ != kNever || endNs_ != kNever; }
    /** Nanoseconds left, 0 or less when the time is over; begins the time. */
    int64_t leftNs();
    bool isOver() { return isLimited() && leftNs() <= 0; }
    /** What is left, cut to whole milliseconds, for a caller who keeps count in them: all of it before the first wait.
     */
    void writeBack(uint32_t *ms);

  private:
    static constexpr int64_t kNever = INT64_MAX;

    int64_t budgetNs_ = kNever;
    int64_t endNs_ = kNever;
    bool hasBegun_ = false;
};

/** How a receive begins; the result is the same, the number of system calls is not. */
enum class FirstStep {
    kRead,  // data is probably there: read at once
    kWait   // a request has just gone out, nothing can be there yet: wait at once
};

/** A place in the stream; a zeroed one lies between two messages. */
struct StreamPlace {
    VosMsgHeader *partial;  // what has arrived of a message, with room for all of it once the header is whole
    size_t have;            // how many bytes that is
    uint32_t skip;          // payload bytes of a message that was given up, still to come
};

/** A handle's stream: whatever ends a receive, the next one goes on at the very byte. A zeroed one is at its start. The
 *  sending side keeps nothing here: when a message went out in part, the socket is shut down for sending and remembers
 *  that itself. */
class MessageStream {
  public:
    /** oalVosMsg_receive() from this place; `deadline` without limit waits in the read itself. */
    VosRet receive(int32_t fd, VosMsgHeader **msgOut, Deadline &deadline, FirstStep firstStep);
    /** Sends a message whole or ends the sending side. Waits for room as long as `deadline` says; what was begun has a
     *  second more. */
    static VosRet send(int32_t fd, const VosMsgHeader *msg, Deadline deadline = {});
    /** Frees what has arrived of a message. */
    void drop();

  private:
    StreamPlace place_;
};

}  // namespace vos
