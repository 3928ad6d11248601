// vosctl ping: round-trip times to an entity, one request after the other.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "arguments.h"
#include "command.h"
#include "common/msg_names.h"
#include "output.h"

namespace {

struct Options {
    std::string entity;
    uint32_t count = 10;
    uint32_t size = 0;
    uint32_t timeoutMs = vosctl::kDefaultTimeoutMs;
    bool json = false;
};

using Micros = std::chrono::duration<double, std::micro>;

// Nearest rank, so that every figure is one that was measured.
double percentile(const std::vector<double> &sorted, double percent) {
    const auto rank = static_cast<size_t>(std::ceil(percent / 100 * static_cast<double>(sorted.size())));
    return sorted[std::max<size_t>(rank, 1) - 1];
}

void requireEcho(const VosMsgHeader &request, const VosMsgHeader *reply, const std::string &peer) {
    if (reply == nullptr) {
        throw vosctl::Failure{peer + " came back and left the repeated request unanswered; try again"};
    }
    if (reply->wordData != VOS_RET_OK || !std::ranges::equal(vosctl::payloadOf(request), vosctl::payloadOf(*reply))) {
        throw vosctl::Failure{peer + " does not answer pings: its reply has the result " +
                              msgnames::retText(reply->wordData) + " and " + std::to_string(reply->dataLength) +
                              " bytes, not 0 and the payload sent"};
    }
}

void run(const Options &options) {
    vosctl::Hub hub{options.timeoutMs};
    const vosctl::Entity peer = hub.find(options.entity);
    const vosctl::MessagePtr request =
        hub.build(peer.eid, hubproto::kEcho, VOS_MSG_FLAG_REQUEST, 0, vosctl::Bytes(options.size));
    std::vector<double> times;
    for (uint32_t i = 0; i < options.count; i++) {
        const auto start = std::chrono::steady_clock::now();
        const vosctl::MessagePtr reply = hub.request(*request, peer.text, options.timeoutMs);
        times.push_back(Micros{std::chrono::steady_clock::now() - start}.count());
        requireEcho(*request, reply.get(), peer.text);
    }
    std::ranges::sort(times);
    if (options.json) {
        return vosctl::printJson({{"eid", peer.eid},
                                  {"count", options.count},
                                  {"size", options.size},
                                  {"minUs", times.front()},
                                  {"medianUs", percentile(times, 50)},
                                  {"p99Us", percentile(times, 99)},
                                  {"maxUs", times.back()}});
    }
    printf("%u requests of %u bytes to %s: min %.1f median %.1f p99 %.1f max %.1f us\n", options.count, options.size,
           peer.text.c_str(), times.front(), percentile(times, 50), percentile(times, 99), times.back());
}

void setUp(vosctl::Arguments app) {
    auto options = std::make_shared<Options>();
    vosctl::addEntity(app, "entity", options->entity).required();
    app.option("-c,--count", options->count, "how many requests").called("N").within(1U, 100'000'000U).showsDefault();
    app.option("--size", options->size, "payload bytes").called("N").within(0U, vosctl::kMaxPayload).showsDefault();
    vosctl::addTimeout(app, options->timeoutMs);
    vosctl::addJson(app, options->json);
    app.runs([options] { run(*options); });
}
const vosctl::Command kCommand{"ping", "measure round trips to an entity", setUp};

}  // namespace
