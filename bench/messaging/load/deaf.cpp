// The hub's memory while one client publishes to subscribers that do not read.
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/hub_protocol.h"
#include "connection.h"
#include "hub_child.h"
#include "tables.h"
#include "vos/eid.h"

namespace load {

namespace {

constexpr int kHeldBackMs = 400;  // longer than the hub takes to let a queue grow, shorter than until it lets go
constexpr int64_t kLongestNs = 4'000'000'000;

/** Publishes until the hub reads nothing for a while; returns how many events it has taken whole. */
uint32_t publishUntilHeldBack(Connection &publisher, const std::string &event) {
    publisher.doNotWait();
    pollfd end{publisher.fd(), POLLOUT, 0};
    size_t sent = 0;
    for (const int64_t start = nowNs(); nowNs() - start < kLongestNs && poll(&end, 1, kHeldBackMs) > 0;) {
        const size_t done = sent % event.size();
        const ssize_t now = send(publisher.fd(), event.data() + done, event.size() - done, MSG_NOSIGNAL);
        if (now < 0 && errno != EAGAIN) {
            break;  // it was let go
        }
        sent += now > 0 ? static_cast<size_t>(now) : 0;
    }
    return static_cast<uint32_t>(sent / event.size());
}

struct Outcome {
    uint32_t events;
    double peakMiB, usedMiB;
    double workMs;  // most that the hub worked before it answered another client
    uint64_t letGo;
};

Outcome publish(const std::string &program, size_t subscribers, size_t payload) {
    const Hub hub{program};
    const Signal subscribed;
    const Child deaf{[&] {
        std::vector<Connection> connections;
        for (size_t i = 0; i < subscribers; i++) {
            connections.emplace_back(hub.socketPath());
            connections.back().ask(VOS_MSG_REGISTER_EVENT_INTEREST, kType);
        }
        subscribed.give();
        pause();
    }};
    subscribed.await();
    Connection other{hub.socketPath()};
    const Signal done;
    const Child publishing{[&] {
        Connection publisher{hub.socketPath()};
        const std::string bytes(payload, 'x');
        done.give(
            publishUntilHeldBack(publisher, message(kType, publisher.eid(), EID_HUBD, VOS_MSG_FLAG_EVENT, 0, bytes)));
        pause();
    }};
    Outcome outcome{};
    while (!done.isGiven()) {
        const int64_t before = hub.workedNs();
        other.ask(hubproto::kGetCounters);
        outcome.workMs = std::max(outcome.workMs, static_cast<double>(hub.workedNs() - before) * 1e-6);
        hubproto::HubCounters counters{};
        memcpy(&counters, other.payload().data(), std::min(other.payload().size(), sizeof counters));
        outcome.usedMiB = std::max(outcome.usedMiB, static_cast<double>(counters.memoryUsed) / (1 << 20));
        outcome.letGo = counters.disconnects;
    }
    outcome.events = done.await();
    outcome.peakMiB = hub.peakMiB();
    return outcome;
}

}  // namespace

void tableOfMemory(const std::string &program) {
    printf(
        "| payload | subscribers | events taken | memory used | peak resident | let go | work before others are "
        "answered |\n"
        "|---|---|---|---|---|---|---|\n");
    for (const size_t payload : {size_t{1} << 10, size_t{64} << 10, size_t{1} << 20, size_t{16} << 20}) {
        for (const size_t subscribers : {1U, 10U, 100U, 200U}) {
            const Outcome outcome = publish(program, subscribers, payload);
            printf("| %zu KiB | %zu | %u | %.0f MiB | %.0f MiB | %ju | %.1f ms |\n", payload >> 10, subscribers,
                   outcome.events, outcome.usedMiB, outcome.peakMiB, static_cast<uintmax_t>(outcome.letGo),
                   outcome.workMs);
            fflush(stdout);
        }
    }
}

}  // namespace load
