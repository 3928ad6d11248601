// The screen of vosctl top as lines of text.
#include <algorithm>
#include <array>
#include <cinttypes>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <nlohmann/json.hpp>

#include "common/message_line.h"
#include "common/msg_names.h"
#include "top_model.h"
#include "vos/base.h"

namespace vosctl {

namespace {

std::string format(const char *pattern, ...) VOS_PRINTF(1, 2);
std::string format(const char *pattern, ...) {
    char text[256];
    va_list arguments;
    va_start(arguments, pattern);
    vsnprintf(text, sizeof text, pattern, arguments);
    va_end(arguments);
    return text;
}

/** Three digits and a unit: "17", "1.2k", "340M". */
std::string shortNumber(double value) {
    constexpr std::array kUnits{"", "k", "M", "G", "T", "P", "E"};
    size_t unit = 0;
    while (value >= 999.5 && unit + 1 < kUnits.size()) {
        value /= 1000;
        unit++;
    }
    const bool fraction = value < 9.95 && value != std::floor(value);
    return format(fraction ? "%.1f%s" : "%.0f%s", value, kUnits[unit]);
}

std::string duration(uint64_t ns) {
    constexpr std::array kUnits{"ns", "us", "ms", "s"};
    auto value = static_cast<double>(ns);
    size_t unit = 0;
    while (value >= 999.5 && unit + 1 < kUnits.size()) {
        value /= 1000;
        unit++;
    }
    return ns == 0 ? "-" : format(value < 9.95 ? "%.1f%s" : "%.0f%s", value, kUnits[unit]);
}

std::string upTime(uint64_t ms) {
    const uint64_t seconds = ms / 1000;
    return format("%" PRIu64 ":%02" PRIu64 ":%02" PRIu64, seconds / 3600, seconds / 60 % 60, seconds % 60);
}

std::string nameOf(const TopClient &client) {
    return msgline::printable(client.row.name);
}

std::string beatOf(const hubproto::ClientRow &row) {
    if (row.watchdogStopped) {
        return "off";
    }
    return row.lastHeartbeatMs == UINT64_MAX ? "-" : duration(row.lastHeartbeatMs * 1'000'000 + 1);
}

/** A column by which clients can be sorted; numbers begin with the largest. */
struct Sort {
    const char *name;
    bool (*before)(const TopClient &a, const TopClient &b);
};
constexpr std::array<Sort, kTopSorts> kSorts{{
    {"ENTITY", [](const TopClient &a, const TopClient &b) { return a.row.eid < b.row.eid; }},
    {"NAME", [](const TopClient &a, const TopClient &b) { return nameOf(a) < nameOf(b); }},
    {"IN/s", [](const TopClient &a, const TopClient &b) { return a.inPerSecond > b.inPerSecond; }},
    {"OUT/s", [](const TopClient &a, const TopClient &b) { return a.outPerSecond > b.outPerSecond; }},
    {"BYTES/s", [](const TopClient &a, const TopClient &b) { return a.bytesPerSecond > b.bytesPerSecond; }},
    {"QUEUED", [](const TopClient &a, const TopClient &b) { return a.row.queuedBytes > b.row.queuedBytes; }},
    {"OPEN", [](const TopClient &a, const TopClient &b) { return a.open > b.open; }},
    {"P99", [](const TopClient &a, const TopClient &b) { return a.p99Ns > b.p99Ns; }},
}};

void addSummary(std::vector<TopLine> &lines, const TopModel &model, const TopView &view) {
    const hubproto::HubCounters &hub = model.hub();
    const double mib = 1024.0 * 1024;
    const auto used = static_cast<double>(hub.memoryUsed);
    const auto limit = static_cast<double>(std::max<uint64_t>(hub.memoryLimit, 1));
    const auto held = std::ranges::count_if(model.clients(), [](const TopClient &each) { return each.row.heldBack; });
    lines.push_back({format("up %s  %" PRIu64 " clients  %s messages/s  %s B/s  memory %.1f of %.0f MiB (%.0f%%)",
                            upTime(hub.uptimeMs).c_str(), hub.clients, shortNumber(model.messagesPerSecond()).c_str(),
                            shortNumber(model.bytesPerSecond()).c_str(), used / mib, limit / mib, used * 100 / limit),
                     used * 4 > limit * 3 ? TopLine::Look::kAlarm : TopLine::Look::kPlain});
    lines.push_back({format("held back %td  events dropped %" PRIu64 "  requests to nobody %" PRIu64
                            "  thrown out %" PRIu64 "  copies lost %" PRIu64,
                            held, hub.eventsDropped, hub.peerGoneReplies, hub.disconnects, model.lost()),
                     held > 0 ? TopLine::Look::kAlarm : TopLine::Look::kPlain});
    lines.push_back({"sorted by " + std::string{kSorts[view.sort].name} + (view.reverse ? ", reversed" : "") +
                     (view.filter.empty() ? "" : "  names with '" + view.filter + "'") +
                     (view.followed == 0 ? "" : "  following " + std::to_string(view.followed))});
}

TopLine clientLine(const TopClient &client, bool selected) {
    const bool alarm = client.row.heldBack;
    return {format("%10" PRIu32 " %-14.14s %6s %6s %7s %7s %4s %6s %4s %6s", client.row.eid, nameOf(client).c_str(),
                   shortNumber(client.inPerSecond).c_str(), shortNumber(client.outPerSecond).c_str(),
                   shortNumber(client.bytesPerSecond).c_str(),
                   shortNumber(static_cast<double>(client.row.queuedBytes)).c_str(), alarm ? "yes" : "-",
                   beatOf(client.row).c_str(), shortNumber(static_cast<double>(client.open)).c_str(),
                   duration(client.p99Ns).c_str()),
            selected ? TopLine::Look::kSelected
            : alarm  ? TopLine::Look::kAlarm
                     : TopLine::Look::kPlain};
}

void addClients(std::vector<TopLine> &lines, const std::vector<const TopClient *> &clients, VosEntityId selected,
                size_t room) {
    lines.push_back({format("%10s %-14s %6s %6s %7s %7s %4s %6s %4s %6s", "ENTITY", "NAME", "IN/s", "OUT/s", "BYTES/s",
                            "QUEUED", "HELD", "BEAT", "OPEN", "P99"),
                     TopLine::Look::kHeader});
    const auto at = std::ranges::find(clients, selected, [](const TopClient *each) { return each->row.eid; });
    const auto index = static_cast<size_t>(at == clients.end() ? 0 : at - clients.begin());
    const size_t first = index < room ? 0 : index - room + 1;  // the selected one stays in sight
    for (size_t i = first; i < clients.size() && i < first + room; i++) {
        lines.push_back(clientLine(*clients[i], clients[i]->row.eid == selected));
    }
    if (clients.size() > first + room && room > 0) {
        lines.back() = {format("%10s %zu more", "...", clients.size() - first - room + 1)};
    }
}

void addAnswers(std::vector<TopLine> &lines, const TopModel &model, const Names &names, const TopView &view,
                size_t room) {
    lines.push_back(
        {format("%-14s %-26s %6s %5s %7s %7s %7s", "ANSWERS OF", "TYPE", "REQ/s", "OPEN", "MEDIAN", "P99", "MAX"),
         TopLine::Look::kHeader});
    for (const TopAnswers *each : model.answers()) {
        const std::string name = names.of(each->peer);
        const bool shown =
            view.followed == 0 ? name.find(view.filter) != std::string::npos : each->peer == view.followed;
        if (!shown || room == 0) {
            continue;
        }
        room--;
        std::string type = msgnames::typeText(each->type);
        type = type.starts_with("VOS_MSG_") ? type.substr(8) : type;
        const std::string peer = name.empty() ? std::to_string(each->peer) : msgline::printable(name);
        lines.push_back({format(
            "%-14.14s %-26.26s %6s %5s %7s %7s %7s", peer.c_str(), type.c_str(), shortNumber(each->perSecond).c_str(),
            shortNumber(static_cast<double>(each->open)).c_str(), duration(each->durations.percentile(50)).c_str(),
            duration(each->durations.percentile(99)).c_str(), duration(each->durations.max()).c_str())});
    }
}

}  // namespace

std::vector<const TopClient *> sortedClients(const TopModel &model, const TopView &view) {
    std::vector<const TopClient *> clients;
    for (const TopClient &client : model.clients()) {
        const bool shown = view.followed == 0 ? std::string_view{client.row.name}.find(view.filter) != std::string::npos
                                              : client.row.eid == view.followed;
        if (shown) {
            clients.push_back(&client);
        }
    }
    std::ranges::stable_sort(clients, [&](const TopClient *a, const TopClient *b) {
        return view.reverse ? kSorts[view.sort].before(*b, *a) : kSorts[view.sort].before(*a, *b);
    });
    return clients;
}

std::vector<TopLine> topLines(const TopModel &model, const Names &names, const TopView &view, size_t width,
                              size_t height) {
    if (width < kTopWidth || height < kTopHeight) {
        const std::string text = "too small: vosctl top needs 80x24; q ends it";
        std::vector<TopLine> lines{{text.size() <= width ? text : "needs 80x24, q ends"}};
        lines.resize(height);
        lines.front().text.resize(std::min(lines.front().text.size(), width));
        return lines;
    }
    std::vector<TopLine> lines;
    addSummary(lines, model, view);
    const std::vector<const TopClient *> clients = sortedClients(model, view);
    const size_t room = height - 6;  // without summary, two headers and the keys
    const size_t forClients =
        view.followed != 0 ? 1 : std::max(std::min(clients.size(), room / 2 + 1), room - room / 2);
    addClients(lines, clients, view.selected, forClients);
    lines.resize(4 + forClients);
    const size_t left = room - forClients;
    addAnswers(lines, model, names, view, view.followed != 0 ? left / 3 : left);
    for (size_t i = model.lines().size() - std::min(model.lines().size(), height - 1 - lines.size());
         i < model.lines().size(); i++) {
        lines.push_back({model.lines()[i]});
    }
    lines.resize(height - 1);
    lines.push_back(
        {!view.note.empty() ? view.note : "q quit  s sort  r reverse  / filter  Enter follow  Esc all  c clear  p hold",
         TopLine::Look::kHeader});
    for (TopLine &line : lines) {
        line.text.resize(std::min(line.text.size(), width));
    }
    return lines;
}

}  // namespace vosctl
