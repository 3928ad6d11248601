// vosctl list: who is connected to the hub, and how they fare.
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "command.h"
#include "common/message_line.h"
#include "hub_connection.h"

namespace {

std::string ago(uint64_t ms) {
    if (ms == UINT64_MAX) {
        return "never";
    }
    char text[32];
    snprintf(text, sizeof text, "%" PRIu64 ".%" PRIu64 " s", ms / 1000, ms % 1000 / 100);
    return text;
}

void printRow(const hubproto::ClientRow &row) {
    printf("%10" PRIu32 "  %-16s %7" PRIu32 " %5" PRIu32 " %10s %8" PRIu64 " %8" PRIu64 " %8" PRIu64 " %6" PRIu32
           " %9s  %-8s  %s\n",
           row.eid, msgline::printable(vosctl::fieldText(row.name)).c_str(), row.pid, row.uid,
           ago(row.connectedMs).c_str(), row.messagesIn, row.messagesOut, row.queuedBytes, row.heartbeats,
           ago(row.lastHeartbeatMs).c_str(), row.watchdogStopped != 0 ? "stopped" : "on",
           msgline::printable(vosctl::fieldText(row.path)).c_str());
}

void run() {
    vosctl::Hub hub;
    printf("%10s  %-16s %7s %5s %10s %8s %8s %8s %6s %9s  %-8s  %s\n", "ENTITY", "NAME", "PID", "UID", "CONNECTED",
           "IN", "OUT", "QUEUED", "BEATS", "LAST", "WATCHDOG", "PROGRAM");
    for (const hubproto::ClientRow &row : hub.clients()) {
        printRow(row);
    }
    const vosctl::MessagePtr reply = hub.ask(hubproto::kGetCounters);
    hubproto::HubCounters counters{};
    const vosctl::ByteView payload = vosctl::payloadOf(*reply);
    memcpy(&counters, payload.data(), std::min(payload.size(), sizeof counters));
    printf("hub: up %s, %" PRIu64 " clients, %" PRIu64 " messages (%" PRIu64 " bytes) routed, %" PRIu64
           " requests answered, %" PRIu64 " events dropped, %" PRIu64 " requests to nobody, %" PRIu64
           " clients thrown out, %" PRIu64 " of %" PRIu64 " bytes of memory used\n",
           ago(counters.uptimeMs).c_str(), counters.clients, counters.routed, counters.bytesRouted,
           counters.hubRequests, counters.eventsDropped, counters.peerGoneReplies, counters.disconnects,
           counters.memoryUsed, counters.memoryLimit);
}

void setUp(CLI::App &app) {
    app.callback(run);
}
const vosctl::Command kCommand{"list", "show who is connected, with heartbeats and watchdog", setUp};

}  // namespace
