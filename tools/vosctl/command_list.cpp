// vosctl list: who is connected to the hub, and how they fare.
#include <cinttypes>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "arguments.h"
#include "command.h"
#include "common/message_line.h"
#include "hub_connection.h"
#include "output.h"

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
           row.eid, msgline::printable(row.name).c_str(), row.pid, row.uid, ago(row.connectedMs).c_str(),
           row.messagesIn, row.messagesOut, row.queuedBytes, row.heartbeats, ago(row.lastHeartbeatMs).c_str(),
           row.watchdogStopped ? "stopped" : "on", msgline::printable(row.path).c_str());
}

void printTable(const std::vector<hubproto::ClientRow> &clients, const hubproto::HubCounters &counters) {
    printf("%10s  %-16s %7s %5s %10s %8s %8s %8s %6s %9s  %-8s  %s\n", "ENTITY", "NAME", "PID", "UID", "CONNECTED",
           "IN", "OUT", "QUEUED", "BEATS", "LAST", "WATCHDOG", "PROGRAM");
    for (const hubproto::ClientRow &row : clients) {
        printRow(row);
    }
    printf("hub: up %s, %" PRIu64 " clients, %" PRIu64 " messages (%" PRIu64 " bytes) routed, %" PRIu64
           " requests answered, %" PRIu64 " events dropped, %" PRIu64 " requests to nobody, %" PRIu64
           " clients thrown out, %" PRIu64 " of %" PRIu64 " bytes of memory used\n",
           ago(counters.uptimeMs).c_str(), counters.clients, counters.routed, counters.bytesRouted,
           counters.hubRequests, counters.eventsDropped, counters.peerGoneReplies, counters.disconnects,
           counters.memoryUsed, counters.memoryLimit);
}

nlohmann::ordered_json rowJson(const hubproto::ClientRow &row) {
    const bool beats = row.lastHeartbeatMs != UINT64_MAX;
    return {{"eid", row.eid},
            {"name", row.name},
            {"pid", row.pid},
            {"uid", row.uid},
            {"connectedMs", row.connectedMs},
            {"messagesIn", row.messagesIn},
            {"messagesOut", row.messagesOut},
            {"queuedBytes", row.queuedBytes},
            {"heldBack", row.heldBack},
            {"heartbeats", row.heartbeats},
            {"lastHeartbeatMs", beats ? nlohmann::ordered_json(row.lastHeartbeatMs) : nlohmann::ordered_json()},
            {"watchdogStopped", row.watchdogStopped},
            {"monitor", row.monitor},
            {"path", row.path}};
}

void printJson(const std::vector<hubproto::ClientRow> &clients, const hubproto::HubCounters &counters) {
    auto rows = nlohmann::ordered_json::array();
    for (const hubproto::ClientRow &row : clients) {
        rows.push_back(rowJson(row));
    }
    vosctl::printJson({{"clients", rows},
                       {"hub",
                        {{"uptimeMs", counters.uptimeMs},
                         {"clients", counters.clients},
                         {"routed", counters.routed},
                         {"bytesRouted", counters.bytesRouted},
                         {"hubRequests", counters.hubRequests},
                         {"eventsDropped", counters.eventsDropped},
                         {"peerGoneReplies", counters.peerGoneReplies},
                         {"disconnects", counters.disconnects},
                         {"memoryUsed", counters.memoryUsed},
                         {"memoryLimit", counters.memoryLimit}}}});
}

void run(bool json) {
    vosctl::Hub hub;
    const std::vector<hubproto::ClientRow> clients = hub.clients();
    const hubproto::HubCounters counters = hub.counters();
    json ? printJson(clients, counters) : printTable(clients, counters);
}

void setUp(vosctl::Arguments app) {
    auto json = std::make_shared<bool>(false);
    vosctl::addJson(app, *json);
    app.runs([json] { run(*json); });
}
const vosctl::Command kCommand{"list", "show who is connected, with heartbeats and watchdog", setUp};

}  // namespace
