// Arguments that several commands share, and how they are read.
//
// The type names ENTITY and TYPE of an argument also tell the shell's completion what to offer.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "command_line.h"
#include "hub_connection.h"

namespace vosctl {

/** A decimal or 0x number of 32 bits; nothing for anything else. */
std::optional<uint32_t> parseNumber(const std::string &text);

/** A number or the name of a message type; an unknown one is a usage failure. */
uint32_t parseType(const std::string &text);

Argument addEntity(Arguments app, const std::string &name, std::string &value);
Argument addType(Arguments app, const std::string &name, std::string &value);
/** How often, at least once; without the option `value` stays as it is. */
Argument addCount(Arguments app, const std::string &name, uint32_t &value, const std::string &description);
Argument addTimeout(Arguments app, uint32_t &value);
/** --json, which every command with a result has. */
Argument addJson(Arguments app, bool &value, const std::string &description = "one JSON object");

/** The longest payload that is sent, far above what hubs let through. */
constexpr uint32_t kMaxPayload = 256U << 20;

/** --data TEXT, --hex HEX or --file F. */
struct PayloadOptions {
    std::string data;
    std::string hex;
    std::string file;

    void addTo(Arguments app);
    Bytes read() const;
};

}  // namespace vosctl
