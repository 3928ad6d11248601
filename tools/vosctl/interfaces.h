// Descriptions of interfaces as vosctl's commands use them.
#pragma once

#include <optional>
#include <string>

#include "command_line.h"
#include "common/interface/store.h"
#include "hub_connection.h"

namespace vosctl {

/** --interfaces DIR; without it the directory in VOS_INTERFACES, else the installed one. */
void addInterfaces(Arguments app);

/** All descriptions, read at the first call, with a line on standard error for each mistake. */
const iface::Store &descriptions();

/** A message's payload by its description. */
struct Described {
    std::string message;  // "meshd.addNode"; empty: none is known
    iface::Json value;    // null: it does not fit
    std::string misfit;

    /** "meshd.addNode {…}", or the name and why the payload does not fit; empty for an unknown message. */
    std::string text() const;
};
Described describe(const VosMsgHeader &header, ByteView payload);

/** What describe() says, behind a blank; empty for an unknown message and where there is nothing to tell. */
std::string describedText(const VosMsgHeader &header, ByteView payload);

/** Adds "described" to a message's object: {"message": "meshd.changed", "fields": {…}}, "misfit" in the place of fields
 * for a payload that does not fit. An unknown message stays as it is. */
void addDescribed(iface::Json &object, const VosMsgHeader &header, ByteView payload);

/** The fields of a payload by name; nothing for one that is not described or does not fit. */
std::optional<iface::Json> decodePayload(const VosMsgHeader &header, ByteView payload);

/** The name of a type: the library's own, or that of a description; else the number. */
std::string typeName(uint32_t type);

/** A message by "meshd.addNode"; a usage failure where there is none. */
iface::Known findMessage(const std::string &name);

/** The payload of a message, or of a reply, from JSON; a usage failure with the path of the wrong field. */
iface::Encoded encodeJson(const iface::Known &known, const std::string &json);

}  // namespace vosctl
