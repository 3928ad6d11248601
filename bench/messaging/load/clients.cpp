// Round trip, copies of events and memory as clients grow.
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdio>

#include "pair.h"
#include "tables.h"
#include "vos/eid.h"

namespace load {

namespace {

/** Reads until every connection has had one message more, for each time that it is told to. */
void readCopies(const std::vector<Connection> &connections, const Signal &done) {
    const vos::UniqueFd waiting{epoll_create1(EPOLL_CLOEXEC)};
    for (const Connection &connection : connections) {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = connection.fd();
        epoll_ctl(waiting.get(), EPOLL_CTL_ADD, connection.fd(), &event);
    }
    done.give();
    std::vector<epoll_event> events(512);
    char copy[sizeof(VosMsgHeader)];
    for (size_t got = 0;;) {
        const int count = epoll_wait(waiting.get(), events.data(), static_cast<int>(events.size()), -1);
        for (int i = 0; i < count; i++) {
            if (recv(events[static_cast<size_t>(i)].data.fd, copy, sizeof copy, MSG_WAITALL) == sizeof copy &&
                ++got == connections.size()) {
                got = 0;
                done.give();
            }
        }
    }
}

}  // namespace

void tableOfClients(const std::string &program) {
    constexpr size_t kEventsInARow = 20;
    printf(
        "| clients | round trip 64 B | p99 | one copy of an event to all | hub's work for it | memory for each "
        "|\n|---|---|---|---|---|---|\n");
    for (const size_t clients : {10U, 100U, 1000U, 4000U}) {
        const Hub hub{program};
        const double before = hub.peakMiB();
        const Signal done;
        const Child readers{[&] {
            std::vector<Connection> connections;
            for (size_t i = 0; i < clients; i++) {
                connections.emplace_back(hub.socketPath());
                connections.back().ask(VOS_MSG_REGISTER_EVENT_INTEREST, kType);
            }
            readCopies(connections, done);
        }};
        done.await();
        const double memory = (hub.peakMiB() - before) * 1024 / static_cast<double>(clients);
        Pair pair{hub};
        const Figures figures = pair.trips();
        const Connection publisher{hub.socketPath()};
        std::vector<double> took;
        const int64_t workedBefore = hub.workedNs();
        for (size_t i = 0; i < kEventsInARow; i++) {
            const int64_t start = nowNs();
            publisher.send(message(kType, publisher.eid(), EID_HUBD, VOS_MSG_FLAG_EVENT, 0));
            done.await();
            took.push_back(static_cast<double>(nowNs() - start) / 1000 / static_cast<double>(clients));
        }
        const double worked =
            static_cast<double>(hub.workedNs() - workedBefore) / 1000 / static_cast<double>(kEventsInARow * clients);
        std::ranges::nth_element(took, took.begin() + kEventsInARow / 2);
        printf("| %zu | %.1f µs | %.1f µs | %.2f µs | %.2f µs | %.1f KiB |\n", clients, figures.medianUs, figures.p99Us,
               took[kEventsInARow / 2], worked, memory);
        fflush(stdout);
    }
}

}  // namespace load
