// vosctl monitor and record: a copy of what the hub routes, as lines or as a capture, until SIGINT or SIGTERM or as
// long as a command runs.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "arguments.h"
#include "child_command.h"
#include "command.h"
#include "common/message_line.h"
#include "interfaces.h"
#include "message_feed.h"
#include "output.h"
#include "pcap.h"
#include "stop_signals.h"

namespace {

using vosctl::Seen;

struct Options {
    std::string type;
    std::string entity;
    uint32_t count = 0;  // 0: without end
    bool json = false;
    bool hideTools = false;
    std::string pcap;
    bool report = false;  // how much was recorded
    std::vector<std::string> command;
};

/** What is done with a message; one for each output format. */
using Sink = std::function<void(const Seen &)>;

/** What the command line wants to see. */
struct Filter {
    bool anyType = true;
    uint32_t type = 0;
    bool anyEntity = true;
    VosEntityId entity = 0;
    bool hideTools = false;

    // The hub's welcome comes before the name of who gets it is known.
    static bool isOfTools(const VosMsgHeader &header, const vosctl::Names &names) {
        return names.isTool(header.src) || names.isTool(header.dst) ||
               (header.type == VOS_MSG_LAUNCHED && header.src == EID_HUBD);
    }
    bool passes(const VosMsgHeader &header, const vosctl::Names &names) const {
        return (anyType || header.type == type) && (anyEntity || header.src == entity || header.dst == entity) &&
               !(hideTools && isOfTools(header, names));
    }
};

void printText(const Seen &seen) {
    if (seen.record.lost > 0) {
        printf("(%u messages before this one are lost: the monitor was too slow)\n", seen.record.lost);
    }
    const std::string line =
        msgline::messageLine(seen.record.realtimeNs, seen.header, seen.payload,
                             static_cast<hubproto::Verdict>(seen.record.verdict), seen.srcName, seen.dstName);
    printf("%s%s\n", line.c_str(), vosctl::describedText(seen.header, seen.payload).c_str());
}

void printJson(const Seen &seen) {
    vosctl::printJson(vosctl::messageJson(seen));
}

Sink sinkFor(const Options &options) {
    if (options.pcap.empty()) {
        return [print = options.json ? printJson : printText](const Seen &seen) {
            print(seen);
            vosctl::flushOutput();
        };
    }
    auto file = std::make_shared<vosctl::PcapFile>(options.pcap);
    return [file](const Seen &seen) { file->write(seen.record, seen.header, seen.payload); };
}

/** Shows one message after the other. */
class Monitor {
  public:
    Monitor(const Options &options, vosctl::Hub &hub, const Filter &filter)
        : options_{options}, hub_{hub}, filter_{filter}, feed_{hub}, sink_{sinkFor(options)} {}

    /** False once enough is shown. */
    bool take(const VosMsgHeader &msg) {
        std::optional<Seen> seen = feed_.read(msg);
        if (!seen) {
            return true;
        }
        lost_ += seen->record.lost;
        lostInAll_ += seen->record.lost;
        if (feed_.isOwn(seen->header) ? !tellsNames(*seen) : !filter_.passes(seen->header, feed_.names())) {
            return true;
        }
        seen->record.lost = std::exchange(lost_, 0);
        sink_(*seen);
        shown_ += feed_.isOwn(seen->header) ? 0 : 1;
        return options_.count == 0 || shown_ < options_.count;
    }
    /** Takes what the hub had routed when everybody who has ended was gone. */
    void takeTheRest() {
        constexpr int kMostLooks = 100;
        const auto hasEnded = [](const hubproto::ClientRow &row) {
            return kill(static_cast<pid_t>(row.pid), 0) != 0 && errno == ESRCH;
        };
        for (int looks = 0; looks < kMostLooks && std::ranges::any_of(hub_.clients(), hasEnded); looks++) {
        }
        for (bool more = true; more;) {
            const vosctl::MessagePtr msg = hub_.receiveWithin(0);
            more = msg && take(*msg);
        }
    }
    uint64_t shown() const { return shown_; }
    uint64_t lost() const { return lostInAll_; }

  private:
    // The monitor's own traffic is not worth seeing, but who reads a capture learns the names from it.
    bool tellsNames(const Seen &seen) const {
        const bool names = seen.header.type == VOS_MSG_LAUNCHED || (seen.header.type == hubproto::kListClients &&
                                                                    (seen.header.flags & VOS_MSG_FLAG_RESPONSE) != 0);
        return names && !options_.pcap.empty() && (filter_.anyType || filter_.type == seen.header.type);
    }

    const Options &options_;
    vosctl::Hub &hub_;
    Filter filter_;
    vosctl::Feed feed_;
    Sink sink_;          // a capture that is there stays until its successor has a hub
    uint32_t lost_ = 0;  // also in front of messages that are not shown
    uint64_t lostInAll_ = 0;
    uint64_t shown_ = 0;
};

void monitorCommand(const Options &options, vosctl::Hub &hub, Monitor &monitor) {
    vosctl::ChildCommand child{options.command, options.json || options.pcap == "-"};
    bool ended = false;
    bool goesOn = true;
    vosctl::untilStopped(hub, [&] {
        const vosctl::MessagePtr msg = hub.receiveUnless(child.fd());
        ended = !msg;
        goesOn = !ended && monitor.take(*msg);
        return goesOn;
    });
    // Enough was shown: the command goes on to its end.
    const int status = child.status(!ended && goesOn);
    if (ended) {
        monitor.takeTheRest();
    }
    throw vosctl::Ended{status};
}

void run(const Options &options) {
    if (options.report && options.json && options.pcap == "-") {
        throw vosctl::Failure{"the capture and --json cannot both go to standard output", vosctl::Exit::kUsage};
    }
    Filter filter{.anyType = options.type.empty(), .anyEntity = options.entity.empty(), .hideTools = options.hideTools};
    if (!filter.anyType) {
        filter.type = vosctl::parseType(options.type);
    }
    vosctl::Hub hub;
    if (!filter.anyEntity) {
        filter.entity = hub.find(options.entity).eid;
    }
    Monitor monitor{options, hub, filter};
    vosctl::sayAttached();
    const auto report = [&] {
        if (options.report && options.json) {
            vosctl::printJson({{"messages", monitor.shown()}, {"lost", monitor.lost()}});
            vosctl::flushOutput();
        } else if (options.report) {
            fprintf(stderr, "vosctl: messages recorded: %ju\n", static_cast<uintmax_t>(monitor.shown()));
        }
    };
    try {
        if (!options.command.empty()) {
            monitorCommand(options, hub, monitor);
        }
        vosctl::untilStopped(hub, [&] { return monitor.take(*hub.receive()); });
    } catch (const vosctl::Ended &) {
        vosctl::flushOutput();
        report();
        throw;
    }
    report();
}

void addFilter(vosctl::Arguments app, const std::shared_ptr<Options> &options) {
    vosctl::addType(app, "--type", options->type);
    vosctl::addEntity(app, "--entity", options->entity);
    vosctl::addCount(app, "-c,--count", options->count, "stop after so many messages");
    vosctl::addInterfaces(app);
    app.flag("--hide-tools", options->hideTools, "leave out what vosctl and vosmini send and get");
    app.option("command", options->command, "run this, behind --, and end with it and with its exit status")
        .called("COMMAND");
    app.runs([options] { run(*options); });
}

std::string emptyName(const std::string &file) {
    return file.empty() ? "the name is empty" : "";
}

void setUpMonitor(vosctl::Arguments app) {
    auto options = std::make_shared<Options>();
    vosctl::Argument json = vosctl::addJson(app, options->json, "one JSON object a line, payload in hexadecimal");
    app.option("--pcap", options->pcap, "write a capture for Wireshark instead; - for standard output")
        .called("FILE")
        .check(emptyName)
        .excludes(json);
    addFilter(app, options);
}
const vosctl::Command kMonitor{"monitor", "show what the hub routes, live", setUpMonitor};

void setUpRecord(vosctl::Arguments app) {
    auto options = std::make_shared<Options>();
    options->report = true;
    app.option("file", options->pcap, "the capture; - for standard output").called("FILE").required().check(emptyName);
    vosctl::addJson(app, options->json, "at the end one JSON object on standard output: what was recorded");
    addFilter(app, options);
}
const vosctl::Command kRecord{"record", "write what the hub routes to a capture, for report and replay", setUpRecord};

}  // namespace
