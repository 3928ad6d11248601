// vosctl monitor: a copy of what the hub routes, decoded, one line a message, until SIGINT or SIGTERM.
#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "arguments.h"
#include "command.h"
#include "common/message_line.h"
#include "common/msg_names.h"
#include "interfaces.h"
#include "output.h"
#include "pcap.h"
#include "stop_signals.h"

namespace {

struct Options {
    std::string type;
    std::string entity;
    uint32_t count = 0;  // 0: without end
    bool json = false;
    std::string pcap;
};

/** One message as the hub saw it. */
struct Seen {
    hubproto::MonitorRecord record;
    VosMsgHeader header;
    vosctl::ByteView payload;
    std::string srcName;
    std::string dstName;
};

/** What is done with a message; one for each output format. */
using Sink = std::function<void(const Seen &)>;

/** What the command line wants to see. */
struct Filter {
    bool anyType = true;
    uint32_t type = 0;
    bool anyEntity = true;
    VosEntityId entity = 0;

    bool passes(const VosMsgHeader &header) const {
        return (anyType || header.type == type) && (anyEntity || header.src == entity || header.dst == entity);
    }
};

// Names of entities, from the hub's list at the start and from the launch events that it passes on.
class Names {
  public:
    explicit Names(vosctl::Hub &hub) : hub_{hub} {
        hub.registerFor(VOS_MSG_LAUNCHED);
        refresh();
    }

    void learn(const VosMsgHeader &launched) {
        const vosctl::ByteView payload = vosctl::payloadOf(launched);
        const std::string name = vosctl::fieldText({reinterpret_cast<const char *>(payload.data()), payload.size()});
        if (name.empty()) {
            refresh();  // launched by id: the hub may know a name
        } else {
            names_[launched.src] = name;
        }
    }
    std::string of(VosEntityId eid) const {
        const auto found = names_.find(eid);
        return found != names_.end() ? found->second : "";
    }

  private:
    void refresh() {
        for (const hubproto::ClientRow &row : hub_.clients()) {
            names_[row.eid] = vosctl::fieldText(row.name);
        }
    }

    vosctl::Hub &hub_;
    std::map<VosEntityId, std::string> names_{{EID_HUBD, "hubd"}};
};

const char *verdictText(uint32_t verdict) {
    constexpr std::array kTexts{"delivered", "to-hub", "from-hub", "no-destination"};
    return verdict < kTexts.size() ? kTexts[verdict] : "?";
}

std::string isoTime(uint64_t realtimeNs) {
    const auto seconds = static_cast<time_t>(realtimeNs / 1'000'000'000);
    tm broken{};
    gmtime_r(&seconds, &broken);
    char text[64];
    const size_t length = strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &broken);
    snprintf(text + length, sizeof text - length, ".%06uZ", static_cast<unsigned>(realtimeNs / 1000 % 1'000'000));
    return text;
}

void printText(const Seen &seen) {
    if (seen.record.lost > 0) {
        printf("... %u messages lost: the output is slower than the traffic\n", seen.record.lost);
    }
    const std::string line =
        msgline::messageLine(seen.record.realtimeNs, seen.header, seen.payload,
                             static_cast<hubproto::Verdict>(seen.record.verdict), seen.srcName, seen.dstName);
    printf("%s%s\n", line.c_str(), vosctl::describedText(seen.header, seen.payload).c_str());
}

void printJson(const Seen &seen) {
    const VosMsgHeader &header = seen.header;
    nlohmann::ordered_json line{{"time", isoTime(seen.record.realtimeNs)},
                                {"verdict", verdictText(seen.record.verdict)},
                                {"lost", seen.record.lost},
                                {"type", header.type},
                                {"typeName", msgnames::typeText(header.type)},
                                {"src", header.src},
                                {"srcName", seen.srcName},
                                {"dst", header.dst},
                                {"dstName", seen.dstName},
                                {"flags", header.flags},
                                {"flagNames", msgnames::flagsText(header.flags)},
                                {"word", header.wordData},
                                {"length", header.dataLength},
                                {"payload", msgline::hexText(seen.payload, "")}};
    vosctl::addDescribed(line, header, seen.payload);
    vosctl::printJson(line);
}

// Nothing for a message that is no copy.
std::optional<Seen> decode(const VosMsgHeader &msg) {
    const vosctl::ByteView bytes = vosctl::payloadOf(msg);
    Seen seen{};
    constexpr size_t kFixed = sizeof seen.record + sizeof seen.header;
    if (msg.type != hubproto::kMonitorCopy || bytes.size() < kFixed) {
        return std::nullopt;
    }
    memcpy(&seen.record, bytes.data(), sizeof seen.record);
    memcpy(&seen.header, bytes.data() + sizeof seen.record, sizeof seen.header);
    seen.payload = bytes.subspan(kFixed);
    return seen;
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

void run(const Options &options) {
    Filter filter{.anyType = options.type.empty(), .anyEntity = options.entity.empty()};
    if (!filter.anyType) {
        filter.type = vosctl::parseType(options.type);
    }
    vosctl::Hub hub;
    if (!filter.anyEntity) {
        filter.entity = hub.find(options.entity).eid;
    }
    hub.ask(hubproto::kMonitorAttach);
    Names names{hub};
    const Sink sink = sinkFor(options);  // a capture that is there stays until its successor has a hub
    uint32_t lost = 0;                   // also in front of messages that are not shown
    uint64_t shown = 0;
    vosctl::untilStopped(hub, [&] {
        const vosctl::MessagePtr msg = hub.receive();
        if (msg->type == VOS_MSG_LAUNCHED) {
            names.learn(*msg);
        }
        std::optional<Seen> seen = decode(*msg);
        if (!seen) {
            return true;
        }
        lost += seen->record.lost;
        // The monitor's own questions are no traffic worth seeing.
        if (seen->header.src == hub.eid() || seen->header.dst == hub.eid() || !filter.passes(seen->header)) {
            return true;
        }
        seen->record.lost = std::exchange(lost, 0);
        seen->srcName = names.of(seen->header.src);
        seen->dstName = names.of(seen->header.dst);
        sink(*seen);
        shown++;
        return options.count == 0 || shown < options.count;
    });
}

void setUp(CLI::App &app) {
    auto options = std::make_shared<Options>();
    vosctl::addType(app, "--type", options->type);
    vosctl::addEntity(app, "--entity", options->entity);
    vosctl::addCount(app, "-c,--count", options->count, "stop after so many messages");
    vosctl::addInterfaces(app);
    CLI::Option *json = app.add_flag("--json", options->json, "one JSON object a line, payload in hexadecimal");
    app.add_option("--pcap", options->pcap, "write a capture for Wireshark instead; - for standard output")
        ->type_name("FILE")
        ->check([](const std::string &file) { return file.empty() ? "the name is empty" : ""; })
        ->excludes(json);
    app.callback([options] { run(*options); });
}
const vosctl::Command kCommand{"monitor", "show what the hub routes, live", setUp};

}  // namespace
