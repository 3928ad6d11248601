// Whole messages out and in: one place in the stream that no time-out, signal or shortage moves.
#include "vos/msg/stream.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <ctime>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "vos/mem/unfilled.h"

using vos::Deadline;
using vos::FirstStep;
using vos::kNsPerMs;
using vos::MessageStream;
using vos::StreamPlace;

namespace {

constexpr int64_t kNsPerSecond = 1'000'000'000;

// What a message that went out in part has to go on, however short the time of its request is.
constexpr uint32_t kRestMs = 1000;

// The system ends long waits late, by up to a half per cent of their length. Only the last of several is short.
constexpr int64_t kLongWaitNs = 200 * kNsPerMs;
constexpr int64_t kLateness = 128;

// Tested as a number, not by the platform's name for a reset connection: a reset counts as a bad read here.
constexpr int kPeerGoneErrno = 131;

constexpr size_t kSkipStep = 4096;
constexpr unsigned kSkipsUnwatched = 256;

// Waits until `fd` is ready for `events`, at its end or broken. Signals end a wait without limit only:
// VOS_RET_INTERRUPTED. `isIdle` tells that it is known not to be ready.
VosRet waitFor(int32_t fd, short events, Deadline &deadline, bool isIdle) {
    for (;;) {
        timespec wait{};
        if (deadline.isLimited()) {
            int64_t left = std::max<int64_t>(deadline.leftNs(), 0);
            if (left == 0 && isIdle) {
                return VOS_RET_TIMEOUT;
            }
            left -= left > kLongWaitNs ? left / kLateness : 0;
            wait.tv_sec = static_cast<time_t>(left / kNsPerSecond);
            wait.tv_nsec = static_cast<long>(left % kNsPerSecond);
        }
        pollfd waiting{.fd = fd, .events = events, .revents = 0};
        const int ready = ppoll(&waiting, 1, deadline.isLimited() ? &wait : nullptr, nullptr);
        if (ready > 0) {
            return VOS_RET_OK;
        }
        if (ready < 0 && errno != EINTR) {
            VOS_DBG_ERROR("select error!!\n");
            return VOS_RET_ERROR;
        }
        if (ready < 0 && !deadline.isLimited()) {
            return VOS_RET_INTERRUPTED;
        }
        isIdle = true;
    }
}

bool isFull(int error) {
    return error == EAGAIN || error == EWOULDBLOCK;
}

// One send; a descriptor that is no socket is written to.
ssize_t sendSome(int32_t fd, const void *bytes, size_t size, int flags) {
    const ssize_t rc = send(fd, bytes, size, MSG_NOSIGNAL | flags);
    return rc < 0 && errno == ENOTSOCK ? write(fd, bytes, size) : rc;
}

VosRet resultOfSend(ssize_t rc, size_t size, const VosMsgHeader *msg) {
    if (rc == static_cast<ssize_t>(size)) {
        return VOS_RET_OK;
    }
    if (rc >= 0) {
        VOS_DBG_ERROR("unexpected rc %d, expected %u", static_cast<int>(rc), static_cast<uint32_t>(size));
        return VOS_RET_ERROR;
    }
    const int error = errno;
    if (error == EPIPE) {
        VOS_DBG_DEBUG("got EPIPE, dest app is dead");
        return VOS_RET_PEER_GONE;
    }
    VOS_DBG_ERROR("write failed, errno=%d; send msg from %d to %d", error, static_cast<int>(msg->src),
                  static_cast<int>(msg->dst));
    return error == EAGAIN ? VOS_RET_WOULD_BLOCK : VOS_RET_ERROR;
}

// Sends the rest of a message of which `done` bytes have gone. Returns how many have gone then.
size_t sendRest(int32_t fd, const uint8_t *bytes, size_t size, size_t done, Deadline deadline) {
    if ((fcntl(fd, F_GETFL) & O_NONBLOCK) != 0) {
        return done;
    }
    if (!deadline.isLimited() || deadline.leftNs() < kRestMs * kNsPerMs) {
        deadline = Deadline{kRestMs};
    }
    while (done < size) {
        const ssize_t rc = sendSome(fd, bytes + done, size - done, MSG_DONTWAIT);
        if (rc >= 0) {
            done += static_cast<size_t>(rc);
        } else if ((!isFull(errno) && errno != EINTR) || waitFor(fd, POLLOUT, deadline, true) != VOS_RET_OK) {
            break;
        }
    }
    return done;
}

VosRet badRead(ssize_t rc, int error) {
    VOS_DBG_ERROR("bad read, rc=%d errno=%d", static_cast<int>(rc), error);
    return VOS_RET_ERROR;
}

// What a read that gave nothing means where a message may begin.
VosRet resultOfEnd(ssize_t rc) {
    if (rc == 0 || errno == kPeerGoneErrno || errno == EPIPE) {
        return VOS_RET_PEER_GONE;
    }
    return badRead(rc, errno);
}

// Reads from a descriptor, with or without a limit.
class Reader {
  public:
    Reader(int32_t fd, Deadline &deadline, FirstStep firstStep)
        : fd_{fd}, deadline_{deadline}, flags_{deadline.isLimited() ? MSG_DONTWAIT : 0}, next_{firstStep} {}

    /** Reads up to `size` bytes into `out`, waiting as long as the time allows. `got` is what read returned, with errno
     *  as it left it; the result is a failed wait's code or VOS_RET_OK. */
    VosRet read(void *out, size_t size, bool isInsideMessage, ssize_t *got) {
        for (;;) {
            if (next_ == FirstStep::kWait) {
                const VosRet ret = waitFor(fd_, POLLIN, deadline_, isIdle_);
                if (ret == VOS_RET_INTERRUPTED) {
                    if (isInsideMessage) {
                        continue;
                    }
                    return badRead(-1, EINTR);
                }
                if (ret != VOS_RET_OK) {
                    return ret;
                }
            }
            // Without MSG_DONTWAIT to ask for it, a limited read must know beforehand that something is there.
            next_ = isSocket_ || !deadline_.isLimited() ? FirstStep::kRead : FirstStep::kWait;
            isIdle_ = false;
            *got = isSocket_ ? recv(fd_, out, size, flags_) : ::read(fd_, out, size);
            if (*got >= 0) {
                return VOS_RET_OK;
            }
            if (errno == ENOTSOCK) {
                isSocket_ = false;
                next_ = deadline_.isLimited() ? FirstStep::kWait : FirstStep::kRead;
            } else if (isFull(errno)) {
                next_ = FirstStep::kWait;
                isIdle_ = true;
            } else if (errno != EINTR || (!isInsideMessage && !deadline_.isLimited())) {
                return VOS_RET_OK;
            }
        }
    }
    bool isLate() { return deadline_.isOver(); }

  private:
    int32_t fd_;
    Deadline &deadline_;
    int flags_;
    FirstStep next_;
    bool isIdle_ = false;
    bool isSocket_ = true;
};

void drop(StreamPlace &place) {
    if (place.partial != nullptr) {
        vos::freeUnfilled(place.partial, static_cast<uint32_t>(std::max(place.have, sizeof *place.partial)), __func__,
                          __LINE__);
        place.partial = nullptr;
    }
    place.have = 0;
}

// The rest of a message that was given up. A signal ends a wait without limit here too: nothing is lost by it.
[[gnu::noinline]] VosRet skipRefused(StreamPlace &place, Reader &reader) {
    uint8_t nowhere[kSkipStep];
    for (unsigned steps = 1; place.skip != 0; steps++) {
        ssize_t got = 0;
        const VosRet ret = reader.read(nowhere, std::min<size_t>(place.skip, sizeof nowhere), false, &got);
        if (ret != VOS_RET_OK) {
            return ret;
        }
        if (got <= 0) {
            return resultOfEnd(got);
        }
        place.skip -= static_cast<uint32_t>(got);
        if (steps % kSkipsUnwatched == 0 && reader.isLate()) {
            return VOS_RET_TIMEOUT;
        }
    }
    return VOS_RET_OK;
}

VosRet readHeader(StreamPlace &place, Reader &reader) {
    if (place.partial == nullptr) {
        place.partial = vos::allocZeroed<VosMsgHeader>().release();
        if (place.partial == nullptr) {
            VOS_DBG_ERROR("alloc of msg header failed");
            return VOS_RET_NO_RESOURCE;
        }
    }
    while (place.have < sizeof *place.partial) {
        ssize_t got = 0;
        const VosRet ret = reader.read(reinterpret_cast<uint8_t *>(place.partial) + place.have,
                                       sizeof *place.partial - place.have, place.have > 0, &got);
        if (ret != VOS_RET_OK) {
            return ret;
        }
        if (got <= 0) {
            return resultOfEnd(got);
        }
        place.have += static_cast<size_t>(got);
    }
    return VOS_RET_OK;
}

// Room for the payload behind a whole header.
VosRet makeRoom(StreamPlace &place) {
    const uint32_t dataLength = place.partial->dataLength;
    if (dataLength == 0) {
        return VOS_RET_OK;
    }
    const uint64_t size = sizeof *place.partial + uint64_t{dataLength};
    void *larger = size > UINT32_MAX
                       ? nullptr
                       : vos::enlargeUnfilled(place.partial, static_cast<uint32_t>(size), __func__, __LINE__);
    // Contract: the header block stays allocated when there is no room; callers' heap statistics count it.
    place.partial = static_cast<VosMsgHeader *>(larger);
    if (larger == nullptr) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        place.have = 0;
        place.skip = dataLength;
        return VOS_RET_NO_RESOURCE;
    }
    return VOS_RET_OK;
}

VosRet readPayload(StreamPlace &place, Reader &reader) {
    const size_t size = sizeof *place.partial + place.partial->dataLength;
    while (place.have < size) {
        ssize_t got = 0;
        const VosRet ret =
            reader.read(reinterpret_cast<uint8_t *>(place.partial) + place.have, size - place.have, true, &got);
        if (ret != VOS_RET_OK) {
            return ret;
        }
        if (got <= 0) {
            VOS_DBG_ERROR("bad data read, rc=%d errno=%d readSoFar=%d remaining=%d", static_cast<int>(got), errno,
                          static_cast<int>(place.have - sizeof *place.partial), static_cast<int>(size - place.have));
            place.skip = static_cast<uint32_t>(size - place.have);
            drop(place);
            return VOS_RET_ERROR;
        }
        place.have += static_cast<size_t>(got);
    }
    return VOS_RET_OK;
}

}  // namespace

int64_t vos::monotonicNs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * kNsPerSecond + now.tv_nsec;
}

int64_t Deadline::leftNs() {
    const int64_t now = monotonicNs();
    if (!hasBegun_ && budgetNs_ != kNever) {
        endNs_ = std::min(endNs_, now + budgetNs_);
    }
    hasBegun_ = true;
    return endNs_ - now;
}

void Deadline::writeBack(uint32_t *ms) {
    if (hasBegun_) {
        *ms = static_cast<uint32_t>(std::max<int64_t>(leftNs(), 0) / kNsPerMs);
    }
}

VosRet MessageStream::receive(int32_t fd, VosMsgHeader **msgOut, Deadline &deadline, FirstStep firstStep) {
    if (msgOut == nullptr) {
        VOS_DBG_ERROR("buf is NULL!");
        return VOS_RET_BAD_ARG;
    }
    *msgOut = nullptr;
    if (fd < 0) {
        return badRead(-1, EBADF);
    }
    Reader reader{fd, deadline, firstStep};
    VosRet ret = place_.skip == 0 ? VosRet{VOS_RET_OK} : skipRefused(place_, reader);
    if (ret == VOS_RET_OK && place_.have < sizeof *place_.partial) {
        ret = readHeader(place_, reader);
        if (ret == VOS_RET_OK) {
            ret = makeRoom(place_);
        }
    }
    if (ret == VOS_RET_OK) {
        ret = readPayload(place_, reader);
    }
    if (ret == VOS_RET_OK) {
        *msgOut = place_.partial;
        place_.partial = nullptr;
        place_.have = 0;
    } else if (place_.have == 0 || ret == VOS_RET_PEER_GONE) {
        drop();
    }
    return ret;
}

VosRet MessageStream::send(int32_t fd, const VosMsgHeader *msg, Deadline deadline) {
    const size_t size = sizeof *msg + size_t{msg->dataLength};
    const int flags = deadline.isLimited() ? MSG_DONTWAIT : 0;
    ssize_t rc = sendSome(fd, msg, size, flags);
    while (rc < 0 && deadline.isLimited() && (isFull(errno) || errno == EINTR)) {
        const VosRet ret = waitFor(fd, POLLOUT, deadline, true);
        if (ret != VOS_RET_OK) {
            return ret;
        }
        rc = sendSome(fd, msg, size, flags);
    }
    if (rc > 0 && rc < static_cast<ssize_t>(size)) {
        rc = static_cast<ssize_t>(
            sendRest(fd, reinterpret_cast<const uint8_t *>(msg), size, static_cast<size_t>(rc), deadline));
        if (rc < static_cast<ssize_t>(size)) {
            shutdown(fd, SHUT_WR);  // whatever followed would be read as the rest of this message
        }
    }
    return resultOfSend(rc, size, msg);
}

void MessageStream::drop() {
    ::drop(place_);
}

VosRet oalVosMsg_send(int32_t fd, const VosMsgHeader *msg) {
    if (msg == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const size_t size = sizeof *msg + size_t{msg->dataLength};
    return resultOfSend(sendSome(fd, msg, size, 0), size, msg);
}

VosRet oalVosMsg_receive(int32_t fd, VosMsgHeader **msgOut, uint32_t *timeoutMs) {
    Deadline deadline = timeoutMs == nullptr ? Deadline{} : Deadline{*timeoutMs};
    MessageStream stream{};
    const VosRet ret = stream.receive(fd, msgOut, deadline, FirstStep::kRead);
    stream.drop();
    if (timeoutMs != nullptr) {
        deadline.writeBack(timeoutMs);
    }
    return ret;
}
