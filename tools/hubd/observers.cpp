// The trace and the monitors.
#include "observers.h"

#include <cerrno>
#include <new>
#include <utility>

#include "clock.h"
#include "common/message_line.h"
#include "internal/message_header.h"

namespace hubd {

namespace {

constexpr size_t kMostTraceBytes = size_t{256} * 1024;

}  // namespace

void Observers::attach(Client &monitor) {
    if (!monitor.monitor) {
        monitor.monitor = true;
        monitors_.push_back(&monitor);
    }
}

void Observers::detach(Client &client) {
    std::erase(monitors_, &client);
}

void Observers::addLine(const std::string &line) {
    if (lines_.size() + line.size() > kMostTraceBytes) {
        linesLost_++;
        return;
    }
    if (linesLost_ > 0) {
        lines_ += std::to_string(std::exchange(linesLost_, 0)) + " lines before this one are lost\n";
    }
    lines_ += line;
}

void Observers::observe(const VosMsgHeader &header, Payload &payload, hubproto::Verdict verdict) {
    const auto now = static_cast<uint64_t>(kernel::realtimeNs());
    try {
        if (trace_) {
            addLine(msgline::messageLine(now, header, payload.bytes(), verdict, directory_.nameOf(header.src),
                                         directory_.nameOf(header.dst)) +
                    '\n');
        }
    } catch (const std::bad_alloc &) {
        linesLost_++;
    }
    struct {
        VosMsgHeader header{};
        hubproto::MonitorRecord record{};
        VosMsgHeader copied{};
    } copy;
    static_assert(sizeof copy == 2 * sizeof(VosMsgHeader) + sizeof(hubproto::MonitorRecord), "goes out as it stands");
    copy.header = vos::messageHeader(hubproto::kMonitorCopy, EID_HUBD, 0, VOS_MSG_FLAG_EVENT, 0,
                                     sizeof copy - sizeof copy.header + payload.bytes().size());
    copy.record = {now, static_cast<uint32_t>(verdict), 0};
    copy.copied = header;
    for (Client *monitor : monitors_) {
        copy.header.dst = monitor->eid;
        copy.record.lost = monitor->copiesLost;
        const bool sent = outbox_.offer(*monitor, std::as_bytes(std::span{&copy, 1}), payload);
        monitor->copiesLost = sent ? 0 : monitor->copiesLost + 1;
    }
}

// Whoever reads the trace may have stopped for good: nothing waits for it.
void Observers::flush() {
    size_t done = 0;
    while (done < lines_.size()) {
        const ssize_t written = kernel::writeTrace(std::string_view{lines_}.substr(done));
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            if (errno != EAGAIN) {
                trace_ = false;  // nobody reads the trace any more; the messages go on
                done = lines_.size();
            }
            break;
        }
        done += static_cast<size_t>(written);
    }
    lines_.erase(0, done);
}

}  // namespace hubd
