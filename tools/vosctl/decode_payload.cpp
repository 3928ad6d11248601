// Payloads of the library's own messages.
#include "decode_payload.h"

#include <string>

#include "internal/bytes.h"

namespace vosctl {

using Json = nlohmann::ordered_json;

std::optional<Json> decodePayload(const VosMsgHeader &header, ByteView payload) {
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

}  // namespace vosctl
