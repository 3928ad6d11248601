// Payloads as JSON and back, by description.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <vector>

#include "common/interface/model.h"

namespace iface {

using Json = nlohmann::ordered_json;
using Bytes = std::vector<std::byte>;
using ByteView = std::span<const std::byte>;

/** A payload's fields, or why it does not fit its description. */
struct Decoded {
    Json value;
    std::string misfit;  // "3 bytes, where Node has 16"
};

/** The fields of a payload; without a description of one it must be empty. */
Decoded decode(const Struct *record, ByteView payload);

/** Word and payload of a message or of its reply as one object. A reply that says no, by a code without payload, is
 *  {"result": "VOS_RET_…"}. */
Decoded decode(const Message &message, bool reply, uint32_t word, ByteView payload);

/** JSON that is no such payload. */
struct WrongField {
    std::string path;  // "nodes[2].mac"; empty: the whole
    std::string text;  // "'x' is no MAC address; write \"00:11:22:33:44:55\""
};

/** What goes on the wire. */
struct Encoded {
    uint32_t word = 0;
    Bytes payload;
};

/** Builds a message, or its reply, from an object of its fields; throws WrongField. Flags and enumerators are names or
 *  numbers, addresses texts, bytes hexadecimal; a missing field is an error but for texts by offset. */
Encoded encode(const Message &message, bool reply, const Json &value);
Bytes encode(const Struct &record, const Json &value);

}  // namespace iface
