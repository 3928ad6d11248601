// vosctl request and vosctl event: one message to an entity.
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "arguments.h"
#include "command.h"
#include "common/message_line.h"
#include "common/msg_names.h"
#include "dump.h"
#include "interfaces.h"
#include "output.h"

namespace {

constexpr size_t kSrpcHead = 8;  // what every procedure's arguments begin with

struct Options {
    std::string entity;
    std::string type;
    uint32_t word = 0;
    std::string fields;
    bool srpc = false;
    vosctl::PayloadOptions payload;
    uint32_t timeoutMs = vosctl::kDefaultTimeoutMs;
    bool json = false;
};

// Reads everything that the command line can get wrong before the hub is needed.
vosctl::MessagePtr build(const Options &options, uint16_t flags, std::unique_ptr<vosctl::Hub> &hub,
                         vosctl::Entity &peer) {
    const uint32_t type = vosctl::parseType(options.type);
    vosctl::Bytes payload = options.payload.read();
    uint32_t word = options.word;
    if (!options.fields.empty()) {
        iface::Encoded encoded = vosctl::encodeJson(vosctl::findMessage(options.type), options.fields);
        payload = std::move(encoded.payload);
        word = encoded.word;
    }
    if (options.srpc && payload.size() < kSrpcHead) {
        throw vosctl::Failure{"--srpc needs at least " + std::to_string(kSrpcHead) + " bytes of payload",
                              vosctl::Exit::kUsage};
    }
    hub = std::make_unique<vosctl::Hub>(options.timeoutMs);
    peer = hub->find(options.entity);
    return hub->build(peer.eid, type, flags, word, payload);
}

void runRequest(const Options &options) {
    std::unique_ptr<vosctl::Hub> hub;
    vosctl::Entity peer;
    const auto flags = static_cast<uint16_t>(VOS_MSG_FLAG_REQUEST | (options.srpc ? VOS_MSG_FLAG_SRPC : 0));
    const vosctl::MessagePtr request = build(options, flags, hub, peer);
    const vosctl::MessagePtr reply = hub->request(*request, peer.text, options.timeoutMs);
    if (!reply) {
        throw vosctl::Failure{peer.text + " came back and left the repeated request unanswered; try again"};
    }
    const std::string result = msgnames::retText(reply->wordData);
    const vosctl::ByteView answer = vosctl::payloadOf(*reply);
    if (options.json) {
        nlohmann::ordered_json line{{"result", reply->wordData},
                                    {"resultName", result},
                                    {"src", reply->src},
                                    {"length", reply->dataLength},
                                    {"payload", msgline::hexText(answer, "")}};
        vosctl::addDescribed(line, *reply, answer);
        vosctl::printJson(line);
    } else {
        printf("%s from %s, %u bytes\n", result.c_str(), peer.text.c_str(), reply->dataLength);
        vosctl::printDump(answer);
        if (const std::string text = vosctl::describedText(*reply, answer); !text.empty()) {
            printf("%s\n", text.c_str() + 1);
        }
    }
    if (reply->wordData != VOS_RET_OK && result.starts_with("VOS_RET_")) {
        throw vosctl::Failure{peer.text + " refused the request: " + result};
    }
}

void runEvent(const Options &options) {
    std::unique_ptr<vosctl::Hub> hub;
    vosctl::Entity peer;
    const vosctl::MessagePtr event = build(options, VOS_MSG_FLAG_EVENT, hub, peer);
    hub->requirePresence(peer);
    hub->send(*event);
}

std::shared_ptr<Options> addOptions(vosctl::Arguments app) {
    auto options = std::make_shared<Options>();
    vosctl::addEntity(app, "entity", options->entity).required();
    vosctl::addType(app, "type", options->type).required();
    app.option("--word", options->word, "the header's wordData").called("N").showsDefault();
    options->payload.addTo(app);
    app.option("--fields", options->fields, "word and payload of a described message: its fields, as '{\"id\": 7}'")
        .called("JSON");
    vosctl::addInterfaces(app);
    return options;
}

void setUpRequest(vosctl::Arguments app) {
    const auto options = addOptions(app);
    app.flag("--srpc", options->srpc, "call the procedure --word; takes at least 8 bytes of payload");
    vosctl::addTimeout(app, options->timeoutMs);
    vosctl::addJson(app, options->json);
    app.runs([options] { runRequest(*options); });
}
const vosctl::Command kRequest{"request", "send a request and print the reply", setUpRequest};

void setUpEvent(vosctl::Arguments app) {
    const auto options = addOptions(app);
    app.runs([options] { runEvent(*options); });
}
const vosctl::Command kEvent{"event", "send an event", setUpEvent};

}  // namespace
