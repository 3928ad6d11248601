// vosctl wait: returns when everybody named is connected, for scripts that start daemons.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>
#include <vector>

#include "arguments.h"
#include "command.h"
#include "output.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
    std::vector<std::string> names;
    uint32_t timeoutMs = 30'000;
    bool json = false;
};

class Deadline {
  public:
    explicit Deadline(uint32_t ms) : end_{Clock::now() + std::chrono::milliseconds{ms}} {}

    uint32_t leftMs() const {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now()).count();
        return static_cast<uint32_t>(std::clamp<int64_t>(left, 0, UINT32_MAX));
    }

  private:
    Clock::time_point end_;
};

// The hub may be started by the same script.
std::unique_ptr<vosctl::Hub> connect(const Deadline &deadline) {
    constexpr uint32_t kPauseMs = 20;
    for (;;) {
        try {
            return std::make_unique<vosctl::Hub>(std::max(deadline.leftMs(), 1U));
        } catch (const vosctl::Failure &) {
            if (deadline.leftMs() == 0) {
                throw;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds{std::min(kPauseMs, deadline.leftMs())});
        }
    }
}

struct Found {
    std::string name;
    VosEntityId eid;  // 0: not connected
};

std::vector<Found> look(vosctl::Hub &hub, const std::vector<std::string> &names) {
    std::vector<Found> all;
    for (const std::string &name : names) {
        const VosEntityId eid = hub.lookUp(name);
        all.push_back({name, eid != 0 && hub.isPresent(eid) ? eid : 0});
    }
    return all;
}

std::string missing(const std::vector<Found> &all) {
    std::string text;
    for (const Found &each : all) {
        if (each.eid == 0) {
            text += (text.empty() ? "" : ", ") + each.name;
        }
    }
    return text;
}

void print(const std::vector<Found> &all) {
    auto clients = nlohmann::ordered_json::array();
    for (const Found &each : all) {
        clients.push_back({{"name", each.name}, {"connected", each.eid != 0}, {"eid", each.eid}});
    }
    vosctl::printJson(clients);
}

void run(const Options &options) {
    const Deadline deadline{options.timeoutMs};
    const std::unique_ptr<vosctl::Hub> hub = connect(deadline);
    hub->registerFor(VOS_MSG_LAUNCHED);
    std::vector<Found> all = look(*hub, options.names);
    while (!missing(all).empty() && deadline.leftMs() > 0) {
        constexpr uint32_t kLookAgainMs = 500;  // at hubs that tell nobody of launches
        hub->receiveWithin(std::min(deadline.leftMs(), kLookAgainMs));
        all = look(*hub, options.names);
    }
    if (options.json) {
        print(all);
    }
    if (const std::string names = missing(all); !names.empty()) {
        throw vosctl::Failure{"not connected within " + std::to_string(options.timeoutMs) + " ms: " + names};
    }
}

void setUp(vosctl::Arguments app) {
    auto options = std::make_shared<Options>();
    app.option("names", options->names, "who must be connected: names or ids").called("ENTITY").required();
    vosctl::addTimeout(app, options->timeoutMs).describedAs("longest wait in milliseconds; 0 looks once");
    vosctl::addJson(app, options->json, "an array of objects");
    app.runs([options] { run(*options); });
}
const vosctl::Command kCommand{"wait", "wait until clients are connected", setUp};

}  // namespace
