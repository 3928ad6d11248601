// Reads descriptions once and puts messages into words by them.
#include "interfaces.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "command.h"
#include "common/msg_names.h"

namespace vosctl {

namespace {

std::string &directory() {
    static std::string chosen;
    return chosen;
}

}  // namespace

void addInterfaces(Arguments app) {
    app.option("--interfaces", directory(), "descriptions of messages, instead of the installed ones")
        .called("DIR")
        .anExistingDirectory();
}

const iface::Store &descriptions() {
    static const iface::Store store = [] {
        const char *variable = getenv("VOS_INTERFACES");
        iface::Store read{!directory().empty() ? directory() : variable != nullptr ? variable : VOSCTL_INTERFACES};
        for (const iface::Mistake &mistake : read.mistakes()) {
            fprintf(stderr, "vosctl: %s\n", mistake.say().c_str());
        }
        return read;
    }();
    return store;
}

std::string Described::text() const {
    return message.empty()   ? ""
           : !misfit.empty() ? message + " does not fit: " + misfit
                             : message + " " + value.dump(-1, ' ', true, iface::Json::error_handler_t::replace);
}

Described describe(const VosMsgHeader &header, ByteView payload) {
    const iface::Known known = descriptions().find(header.type, header.flags, header.wordData);
    if (!known) {
        return {};
    }
    iface::Decoded decoded = iface::decode(*known.message, known.reply, header.wordData, payload);
    return {known.name(), std::move(decoded.value), std::move(decoded.misfit)};
}

std::string describedText(const VosMsgHeader &header, ByteView payload) {
    const Described described = describe(header, payload);
    return described.misfit.empty() && described.value.empty() ? "" : " " + described.text();
}

void addDescribed(iface::Json &object, const VosMsgHeader &header, ByteView payload) {
    const Described described = describe(header, payload);
    if (!described.message.empty()) {
        iface::Json &entry = object["described"] = {{"message", described.message}};
        described.misfit.empty() ? entry["fields"] = described.value : entry["misfit"] = described.misfit;
    }
}

std::optional<iface::Json> decodePayload(const VosMsgHeader &header, ByteView payload) {
    Described described = describe(header, payload);
    return described.value.empty() ? std::nullopt : std::optional{std::move(described.value)};
}

std::string typeName(uint32_t type) {
    std::string name = msgnames::typeText(type);
    const iface::Known known = descriptions().find(type, VOS_MSG_FLAG_REQUEST, 0);
    if (name.starts_with("0x") && known && known.message->kind != iface::MessageKind::kProcedure) {
        name = known.name();
    }
    return name;
}

iface::Known findMessage(const std::string &name) {
    const size_t dot = name.find('.');
    const std::string interface = name.substr(0, dot);
    if (const iface::Known known =
            descriptions().find(interface, dot != std::string::npos ? name.substr(dot + 1) : "")) {
        return known;
    }
    const bool described = descriptions().find(interface) != nullptr;
    throw Failure{
        "there is no message '" + name + "'; see 'vosctl interfaces" + (described ? " " + interface : "") + "'",
        Exit::kUsage};
}

iface::Encoded encodeJson(const iface::Known &known, const std::string &json) {
    try {
        return iface::encode(*known.message, known.reply, iface::Json::parse(json.empty() ? "{}" : json));
    } catch (const iface::Json::parse_error &error) {
        throw Failure{"'" + json + "' is no JSON: " + error.what(), Exit::kUsage};
    } catch (const iface::WrongField &wrong) {
        throw Failure{known.name() + ": " + (wrong.path.empty() ? "the value" : wrong.path) + ": " + wrong.text,
                      Exit::kUsage};
    }
}

}  // namespace vosctl
