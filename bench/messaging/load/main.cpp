// How the hub behaves as load and clients grow: three tables for docs/benchmarks.md. hub_load [HUB]
#include <poll.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

#include "common/hub_protocol.h"
#include "connection.h"
#include "hub.h"
#include "vos/eid.h"

namespace load {

namespace {

constexpr size_t kTrips = 3000;
constexpr int64_t kLongestNs = 5'000'000'000;

struct Figures {
    double medianUs, p99Us, longestUs;
};

/** Two processes with a connection each; this one asks, the other one answers. */
class Pair {
  public:
    explicit Pair(const Hub &hub)
        : asking_{hub.socketPath()},
          answering_{[&] {
              Connection peer{hub.socketPath()};
              peer.send(message(kType, peer.eid(), asking_.eid(), VOS_MSG_FLAG_EVENT, 0));
              for (;;) {
                  const VosMsgHeader request = peer.receive();
                  peer.send(message(kType, peer.eid(), request.src, VOS_MSG_FLAG_RESPONSE, 0, std::string(64, 'x')));
              }
          }},
          peer_{asking_.receive().src} {}

    Figures trips() {
        const std::string request = message(kType, asking_.eid(), peer_, VOS_MSG_FLAG_REQUEST, 0, std::string(64, 'x'));
        std::vector<int64_t> took;
        const int64_t start = nowNs();
        while (took.size() < kTrips && (took.size() < 10 || nowNs() - start < kLongestNs)) {
            const int64_t before = nowNs();
            asking_.send(request);
            asking_.receive();
            took.push_back(nowNs() - before);
        }
        std::ranges::sort(took);
        const auto us = [&](size_t index) { return static_cast<double>(took[index]) / 1000; };
        return {us(took.size() / 2), us(took.size() * 99 / 100), us(took.size() - 1)};
    }

  private:
    Connection asking_;
    Child answering_;
    VosEntityId peer_;
};

/** What a flooding connection sends again and again. */
struct Flood {
    const char *name;
    std::string (*bytes)(const Connection &from, const Connection &neighbour, size_t number);
};

std::string eventFlood(const Connection &from, const Connection &neighbour, size_t) {
    return message(kType, from.eid(), neighbour.eid(), VOS_MSG_FLAG_EVENT, 0, std::string(64, 'x'));
}

std::string nameFlood(const Connection &from, const Connection &, size_t number) {
    hubproto::EntityDescription row{};
    snprintf(row.name, sizeof row.name, "name %u %zu", from.eid(), number);
    return message(VOS_MSG_ADD_ENTITY_INFO, from.eid(), EID_HUBD, VOS_MSG_FLAG_REQUEST, 0,
                   {reinterpret_cast<const char *>(&row), sizeof row});
}

std::string directoryFlood(const Connection &from, const Connection &, size_t) {
    return message(VOS_MSG_GET_PLUGIN_CFG_DIR, from.eid(), EID_HUBD, VOS_MSG_FLAG_REQUEST, 0);
}

constexpr Flood kEvents{"events", eventFlood};
constexpr Flood kNames{"added names", nameFlood};
constexpr Flood kDirectories{"plug-in directories", directoryFlood};

constexpr size_t kInABatch = 64;

/** Sends as fast as the hub takes it on all connections, and reads away what comes. */
[[noreturn]] void flood(const std::vector<Connection> &connections, const Flood &kind) {
    std::vector<std::string> batches;
    std::vector<size_t> sent(connections.size());
    std::vector<pollfd> ends;
    for (size_t i = 0; i < connections.size(); i++) {
        std::string batch;
        for (size_t number = 0; number < kInABatch; number++) {
            batch += kind.bytes(connections[i], connections[(i + 1) % connections.size()], number);
        }
        batches.push_back(std::move(batch));
        connections[i].doNotWait();
        ends.push_back({connections[i].fd(), POLLIN | POLLOUT, 0});
    }
    std::vector<char> away(size_t{256} * 1024);
    for (;;) {
        poll(ends.data(), ends.size(), -1);
        for (size_t i = 0; i < ends.size(); i++) {
            if ((ends[i].revents & POLLOUT) != 0) {
                const std::string &batch = batches[i];
                const ssize_t now = send(ends[i].fd, batch.data() + sent[i], batch.size() - sent[i], MSG_NOSIGNAL);
                sent[i] = now > 0 ? (sent[i] + static_cast<size_t>(now)) % batch.size() : sent[i];
            }
            if ((ends[i].revents & ~POLLOUT) != 0 && recv(ends[i].fd, away.data(), away.size(), 0) == 0) {
                fail("the hub threw a flooding connection out");
            }
        }
    }
}

void tableOfFloods(const std::string &program) {
    printf("| what one process floods the hub with | connections | median | p99 | longest |\n|---|---|---|---|---|\n");
    struct Row {
        const Flood &kind;
        size_t connections;
    };
    for (const Row &row : {Row{kEvents, 0}, Row{kEvents, 10}, Row{kEvents, 50}, Row{kEvents, 200}, Row{kNames, 50},
                           Row{kDirectories, 20}}) {
        const Hub hub{program};
        Pair pair{hub};
        const Signal ready;
        std::optional<Child> flooding;
        if (row.connections > 0) {
            flooding.emplace([&] {
                std::vector<Connection> connections;
                for (size_t i = 0; i < row.connections; i++) {
                    connections.emplace_back(hub.socketPath());
                }
                ready.give();
                flood(connections, row.kind);
            });
            ready.await();
        }
        const Figures figures = pair.trips();
        printf("| %s | %zu | %.0f µs | %.2f ms | %.1f ms |\n", row.connections > 0 ? row.kind.name : "nothing",
               row.connections, figures.medianUs, figures.p99Us / 1000, figures.longestUs / 1000);
        fflush(stdout);
    }
}

void tableOfMemory(const std::string &program) {
    constexpr size_t kCopies[] = {1, 10, 100};
    printf("\n| payload | 1 subscriber | 10 | 100 | longest wait of others at 100 |\n|---|---|---|---|---|\n");
    for (const size_t payload : {size_t{64} << 10, size_t{1} << 20, size_t{16} << 20}) {
        printf("| %zu KiB |", payload >> 10);
        double waitMs = 0;
        for (const size_t subscribers : kCopies) {
            const Hub hub{program};
            std::vector<Connection> deaf;
            for (size_t i = 0; i < subscribers; i++) {
                deaf.emplace_back(hub.socketPath());
                deaf.back().ask(VOS_MSG_REGISTER_EVENT_INTEREST, kType);
            }
            Connection other{hub.socketPath()};
            Connection publisher{hub.socketPath()};
            const Child publishing{[&] {
                publisher.send(
                    message(kType, publisher.eid(), EID_HUBD, VOS_MSG_FLAG_EVENT, 0, std::string(payload, 'x')));
                pause();
            }};
            waitMs = 0;
            for (const int64_t start = nowNs(); nowNs() - start < 1'000'000'000;) {
                const int64_t before = nowNs();
                other.ask(hubproto::kEcho);
                waitMs = std::max(waitMs, static_cast<double>(nowNs() - before) * 1e-6);
            }
            printf(" %.0f MiB |", hub.peakMiB());
        }
        printf(" %.1f ms |\n", waitMs);
        fflush(stdout);
    }
}

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

void tableOfClients(const std::string &program) {
    constexpr size_t kEventsInARow = 20;
    printf("\n| clients | round trip 64 B | one copy of an event to all | memory for each |\n|---|---|---|---|\n");
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
        for (size_t i = 0; i < kEventsInARow; i++) {
            const int64_t start = nowNs();
            publisher.send(message(kType, publisher.eid(), EID_HUBD, VOS_MSG_FLAG_EVENT, 0));
            done.await();
            took.push_back(static_cast<double>(nowNs() - start) / 1000 / static_cast<double>(clients));
        }
        std::ranges::nth_element(took, took.begin() + kEventsInARow / 2);
        printf("| %zu | %.1f µs | %.2f µs | %.1f KiB |\n", clients, figures.medianUs, took[kEventsInARow / 2], memory);
        fflush(stdout);
    }
}

}  // namespace

}  // namespace load

int main(int argc, char **argv) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    load::stayOnOneCore();
    const std::string program = argc > 1 ? argv[1] : VOS_HUBD;
    load::tableOfFloods(program);
    load::tableOfMemory(program);
    load::tableOfClients(program);
}
