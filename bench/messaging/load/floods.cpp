// Round trips of a pair that behaves while others flood the hub.
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <deque>
#include <utility>

#include "common/hub_protocol.h"
#include "pair.h"
#include "tables.h"
#include "vos/eid.h"

namespace load {

namespace {

/** What a flooding connection sends again and again. */
struct Flood {
    const char *name;
    std::string (*bytes)(VosEntityId from, VosEntityId neighbour, size_t number);
};

std::string eventFlood(VosEntityId from, VosEntityId neighbour, size_t) {
    return message(kType, from, neighbour, VOS_MSG_FLAG_EVENT, 0, std::string(64, 'x'));
}

std::string nameFlood(VosEntityId from, VosEntityId, size_t number) {
    hubproto::EntityDescription row{};
    snprintf(row.name, sizeof row.name, "name %u %zu", from, number);
    return message(VOS_MSG_ADD_ENTITY_INFO, from, EID_HUBD, VOS_MSG_FLAG_REQUEST, 0,
                   {reinterpret_cast<const char *>(&row), sizeof row});
}

std::string directoryFlood(VosEntityId from, VosEntityId, size_t) {
    return message(VOS_MSG_GET_PLUGIN_CFG_DIR, from, EID_HUBD, VOS_MSG_FLAG_REQUEST, 0);
}

constexpr Flood kEvents{"events", eventFlood};
constexpr Flood kNames{"added names", nameFlood};
constexpr Flood kDirectories{"plug-in directories", directoryFlood};

constexpr size_t kInABatch = 64;

/** Sends as fast as the hub takes it on all connections, events from each to the next one and from the last to
 *  `receiver`, and reads away what comes. */
[[noreturn]] void flood(const std::vector<Connection> &connections, const Flood &kind, VosEntityId receiver) {
    std::vector<std::string> batches;
    std::vector<size_t> sent(connections.size());
    std::vector<pollfd> ends;
    for (size_t i = 0; i < connections.size(); i++) {
        const VosEntityId to = i + 1 < connections.size() ? connections[i + 1].eid() : receiver;
        std::string batch;
        for (size_t number = 0; number < kInABatch; number++) {
            batch += kind.bytes(connections[i].eid(), to, number);
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

struct Crowd {
    const Flood &kind;
    size_t connections;
    size_t processes;
    bool elsewhere;  // than on the hub's core
};

/** Starts one of the processes; events of its last connection go to `receiver`, or round when that is 0. Returns when
 * it is about to flood, with the id of its first connection in `first`. */
Child startFlooding(const Hub &hub, const Crowd &crowd, VosEntityId receiver, VosEntityId &first) {
    const Signal ready;
    Child child{[&] {
        if (crowd.elsewhere && !moveToOtherCores()) {
            fail("there is no other core");
        }
        std::vector<Connection> connections;
        for (size_t i = 0; i < crowd.connections / crowd.processes; i++) {
            connections.emplace_back(hub.socketPath());
        }
        const VosEntityId own = connections.front().eid();
        ready.give(own);
        flood(connections, crowd.kind, receiver != 0 ? receiver : own);
    }};
    first = ready.await();
    return child;
}

Figures tripsAmong(const std::string &program, const Crowd &crowd) {
    const Hub hub{program};
    Pair pair{hub};
    std::deque<Child> flooding;
    VosEntityId first = 0;
    for (size_t i = 0; i < crowd.processes; i++) {
        flooding.push_back(startFlooding(hub, crowd, first, first));
    }
    return pair.trips();
}

void printRow(const std::string &program, Crowd crowd) {
    const Figures here = tripsAmong(program, crowd);
    printf("| %s | %zu | %zu | %.0f µs | %.2f ms | %.2f ms |", crowd.processes > 0 ? crowd.kind.name : "nothing",
           crowd.processes, crowd.connections, here.medianUs, here.p99Us / 1000, here.workP99Us / 1000);
    if (sysconf(_SC_NPROCESSORS_ONLN) > 1) {
        crowd.elsewhere = true;
        const Figures apart = tripsAmong(program, crowd);
        printf(" %.0f µs | %.2f ms | %.2f ms |\n", apart.medianUs, apart.p99Us / 1000, apart.workP99Us / 1000);
    } else {
        printf(" | | |\n");
    }
    fflush(stdout);
}

}  // namespace

void tableOfFloods(const std::string &program) {
    printf(
        "| flooded with | by processes | connections | median | p99 | hub's work p99 | floods from another core: "
        "median "
        "| p99 | hub's work p99 |\n|---|---|---|---|---|---|---|---|---|\n");
    printRow(program, {kEvents, 0, 0, false});
    printRow(program, {kEvents, 1, 1, false});
    for (const bool inOne : {true, false}) {
        for (const auto &[kind, connections] :
             {std::pair{kEvents, size_t{10}}, {kEvents, 50}, {kEvents, 200}, {kNames, 50}, {kDirectories, 20}}) {
            printRow(program, {kind, connections, inOne ? 1 : connections, false});
        }
    }
}

}  // namespace load
