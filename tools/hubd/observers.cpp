// The trace and the monitors.
#include "observers.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

#include "clock.h"
#include "common/message_line.h"

namespace hubd {

void Observers::attach(Client &monitor) {
    if (!monitor.monitor) {
        monitor.monitor = true;
        monitors_.push_back(&monitor);
    }
}

void Observers::detach(Client &client) {
    std::erase(monitors_, &client);
}

void Observers::observe(const Frame &frame, hubproto::Verdict verdict) {
    const int64_t now = clockNs(CLOCK_REALTIME);
    if (trace_) {
        lines_ += msgline::messageLine(static_cast<uint64_t>(now), frame.header, frame.payload(), verdict,
                                       directory_.nameOf(frame.header.src), directory_.nameOf(frame.header.dst)) +
                  '\n';
    }
    struct {
        VosMsgHeader header{};
        hubproto::MonitorRecord record{};
    } copy;
    static_assert(sizeof copy == sizeof(VosMsgHeader) + sizeof(hubproto::MonitorRecord), "goes out as it stands");
    copy.header.type = hubproto::kMonitorCopy;
    copy.header.src = EID_HUBD;
    copy.header.flags = VOS_MSG_FLAG_EVENT;
    copy.header.dataLength = static_cast<uint32_t>(sizeof copy.record + frame.bytes.size());
    copy.record = {static_cast<uint64_t>(now), static_cast<uint32_t>(verdict), 0};
    for (Client *monitor : monitors_) {
        copy.header.dst = monitor->eid;
        copy.record.lost = monitor->copiesLost;
        const bool sent = outbox_.offer(*monitor, std::as_bytes(std::span{&copy, 1}), frame.bytes);
        monitor->copiesLost = sent ? 0 : monitor->copiesLost + 1;
    }
}

// Whether PIPE_BUF bytes can be written without blocking; false when the hub is to end before they can: whoever reads
// the trace may have stopped for good.
bool Observers::awaitReader() const {
    std::array ends{pollfd{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0},
                    pollfd{.fd = stopSignals_, .events = POLLIN, .revents = 0}};
    while (poll(ends.data(), ends.size(), -1) < 0 && errno == EINTR) {
    }
    return ends[0].revents != 0 || ends[1].revents == 0;
}

void Observers::flush() {
    std::string_view rest = lines_;
    while (!rest.empty() && awaitReader()) {
        const ssize_t written = write(STDOUT_FILENO, rest.data(), std::min(rest.size(), size_t{PIPE_BUF}));
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            trace_ = false;  // nobody reads the trace any more; the messages go on
            break;
        }
        rest.remove_prefix(static_cast<size_t>(written));
    }
    lines_.clear();
}

}  // namespace hubd
