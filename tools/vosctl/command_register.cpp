// vosctl register: events of one type as they come, one line each, until SIGINT or SIGTERM.
#include <chrono>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "arguments.h"
#include "command.h"
#include "common/message_line.h"
#include "interfaces.h"
#include "message_feed.h"
#include "output.h"
#include "stop_signals.h"

namespace {

struct Options {
    std::string type;
    uint32_t count = 0;  // 0: without end
    bool json = false;
};

uint64_t realtimeNs() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

void print(const VosMsgHeader &event, bool json) {
    constexpr auto kVerdict = hubproto::Verdict::kDelivered;
    const uint64_t now = realtimeNs();
    const vosctl::ByteView payload = vosctl::payloadOf(event);
    if (json) {
        const hubproto::MonitorRecord record{now, static_cast<uint32_t>(kVerdict), 0};
        vosctl::printJson(vosctl::messageJson({record, event, payload, "", "vosctl"}));
    } else {
        printf("%s%s\n", msgline::messageLine(now, event, payload, kVerdict, "", "vosctl").c_str(),
               vosctl::describedText(event, payload).c_str());
    }
    vosctl::flushOutput();
}

void run(const Options &options) {
    const uint32_t type = vosctl::parseType(options.type);
    vosctl::Hub hub;
    hub.registerFor(type);
    vosctl::sayAttached();
    uint64_t shown = 0;
    vosctl::untilStopped(hub, [&] {
        const vosctl::MessagePtr msg = hub.receive();
        if (msg->type == type) {
            print(*msg, options.json);
            shown++;
        }
        return options.count == 0 || shown < options.count;
    });
}

void setUp(vosctl::Arguments app) {
    auto options = std::make_shared<Options>();
    vosctl::addType(app, "type", options->type).required();
    vosctl::addInterfaces(app);
    vosctl::addCount(app, "-c,--count", options->count, "stop after so many events");
    vosctl::addJson(app, options->json, "one JSON object a line, as monitor prints it");
    app.runs([options] { run(*options); });
}
const vosctl::Command kCommand{"register", "show events of one type as they come", setUp};

}  // namespace
