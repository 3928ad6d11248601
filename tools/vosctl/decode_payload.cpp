// Payloads of the library's own messages, and of those that are described.
#include "decode_payload.h"

#include "common/msg_names.h"
#include "internal/bytes.h"
#if __has_include("interfaces.h")
#include "interfaces.h"
#define VOSCTL_WITH_DESCRIPTIONS
#endif

namespace vosctl {

namespace {

using Json = nlohmann::ordered_json;

std::optional<Json> decodeOwn(const VosMsgHeader &header, ByteView payload) {
    if ((header.flags & VOS_MSG_FLAG_RESPONSE) != 0) {
        return std::nullopt;
    }
    vos::ByteReader reader{payload.data(), payload.size()};
    Json fields = Json::object();
    switch (header.type) {
        case VOS_MSG_LAUNCHED:
            fields["name"] = std::string{reader.terminatedText()};
            fields["path"] = std::string{reader.terminatedText()};
            break;
        case VOS_MSG_GET_EID_BY_APP_NAME:
        case VOS_MSG_DEL_ENTITY_INFO:
            fields["name"] = std::string{reader.terminatedText()};
            break;
        case VOS_MSG_REGISTER_DELAYED_MSG:
            fields["delayMs"] = reader.native<uint32_t>();
            break;
        case VOS_MSG_ADD_ENTITY_INFO: {
            const auto entity = reader.native<hubproto::EntityDescription>();
            fields["name"] = fieldText(entity.name);
            fields["eid"] = entity.eid;
            break;
        }
        default:
            return std::nullopt;
    }
    return reader.ok() ? std::optional{fields} : std::nullopt;
}

}  // namespace

std::optional<Json> decodePayload(const VosMsgHeader &header, ByteView payload) {
#ifdef VOSCTL_WITH_DESCRIPTIONS
    Described described = describe(header, payload);
    if (!described.value.empty()) {
        return std::move(described.value);
    }
#endif
    return decodeOwn(header, payload);
}

void addDescriptions([[maybe_unused]] CLI::App &app) {
#ifdef VOSCTL_WITH_DESCRIPTIONS
    addInterfaces(app);
#endif
}

std::string typeName(uint32_t type) {
    std::string name = msgnames::typeText(type);
#ifdef VOSCTL_WITH_DESCRIPTIONS
    const iface::Known known = descriptions().find(type, VOS_MSG_FLAG_REQUEST, 0);
    if (name.starts_with("0x") && known && known.message->kind != iface::MessageKind::kProcedure) {
        name = known.name();
    }
#endif
    return name;
}

}  // namespace vosctl
