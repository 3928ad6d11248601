// vosctl call: a message by its description, from JSON, and the reply as JSON.
#include <memory>

#include "arguments.h"
#include "command.h"
#include "common/msg_names.h"
#include "dump.h"
#include "interfaces.h"
#include "output.h"

namespace {

struct Options {
    std::string message;
    std::string fields;
    std::string entity;
    bool json = false;
    uint32_t timeoutMs = vosctl::kDefaultTimeoutMs;
};

uint16_t flagsOf(const iface::Message &message) {
    switch (message.kind) {
        case iface::MessageKind::kRequest:
            return VOS_MSG_FLAG_REQUEST;
        case iface::MessageKind::kProcedure:
            return VOS_MSG_FLAG_REQUEST | VOS_MSG_FLAG_SRPC;
        default:
            return VOS_MSG_FLAG_EVENT;
    }
}

// An event goes where the daemon would send it: to the hub, for all who registered.
vosctl::Entity receiver(vosctl::Hub &hub, const Options &options, const iface::Known &known) {
    if (!options.entity.empty()) {
        return hub.find(options.entity);
    }
    if (known.message->kind == iface::MessageKind::kEvent) {
        return {EID_HUBD, "hubd"};
    }
    const iface::Interface &interface = *known.interface;
    return interface.eid != 0 ? vosctl::Entity{interface.eid, interface.server} : hub.find(interface.server);
}

void run(const Options &options) {
    const iface::Known known = vosctl::findMessage(options.message);
    const iface::Encoded encoded = vosctl::encodeJson(known, options.fields);
    vosctl::Hub hub{options.timeoutMs};
    const vosctl::Entity peer = receiver(hub, options, known);
    const vosctl::MessagePtr message =
        hub.build(peer.eid, known.message->type, flagsOf(*known.message), encoded.word, encoded.payload);
    if (known.message->kind != iface::MessageKind::kRequest) {
        hub.requirePresence(peer);  // what the hub says of nobody is no reply to a procedure
    }
    if (!known.message->isAnswered()) {
        return hub.send(*message);
    }
    const vosctl::MessagePtr reply = hub.request(*message, peer.text, options.timeoutMs);
    if (!reply) {
        throw vosctl::Failure{peer.text + " came back and left the repeated request unanswered; try again"};
    }
    const vosctl::ByteView payload = vosctl::payloadOf(*reply);
    const iface::Decoded decoded = iface::decode(*known.message, true, reply->wordData, payload);
    if (!decoded.misfit.empty()) {
        if (!options.json) {
            vosctl::printDump(payload);
        }
        throw vosctl::Failure{"the reply of " + peer.text + " does not fit " + known.name() + ": " + decoded.misfit};
    }
    vosctl::printJson(decoded.value);
    if (!known.message->result && known.message->kind == iface::MessageKind::kRequest &&
        reply->wordData != VOS_RET_OK) {
        throw vosctl::Failure{peer.text + " refused " + known.name() + ": " + msgnames::retText(reply->wordData)};
    }
}

void setUp(vosctl::Arguments app) {
    auto options = std::make_shared<Options>();
    app.option("message", options->message, "what 'vosctl interfaces' lists, as meshd.addNode")
        .called("MESSAGE")
        .required();
    app.option("fields", options->fields, "of the message, as '{\"id\": 7}'").called("JSON");
    vosctl::addEntity(app, "--to", options->entity);
    vosctl::addTimeout(app, options->timeoutMs);
    vosctl::addJson(app, options->json, "nothing but JSON, not even for a reply that does not fit");
    vosctl::addInterfaces(app);
    app.runs([options] { run(*options); });
}
const vosctl::Command kCommand{"call", "send a described message and print the reply as JSON", setUp};

}  // namespace
