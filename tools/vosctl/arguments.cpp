// Reads entities, message types and payloads from the command line.
#include "arguments.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "command.h"
#include "common/msg_names.h"
#include "interfaces.h"
#include "internal/guards.h"

namespace vosctl {

namespace {

Bytes toBytes(const std::string &text) {
    const auto bytes = std::as_bytes(std::span{text});
    return {bytes.begin(), bytes.end()};
}

// Blanks and colons between the bytes are taken, so that a dump can be pasted.
Bytes parseHex(const std::string &text) {
    std::string digits = text;
    std::erase_if(digits, [](char c) { return c == ' ' || c == ':'; });
    Bytes bytes;
    for (size_t i = 0; i < digits.size(); i += 2) {
        const std::string pair = digits.substr(i, 2);
        uint8_t value = 0;
        const auto [end, error] = std::from_chars(pair.data(), pair.data() + pair.size(), value, 16);
        if (error != std::errc{} || end != pair.data() + 2) {
            throw Failure{"--hex needs pairs of hexadecimal digits, not '" + text + "'", Exit::kUsage};
        }
        bytes.push_back(std::byte{value});
    }
    return bytes;
}

Bytes readFile(const std::string &path) {
    const vos::UniqueFile in{fopen(path.c_str(), "rbe")};
    Bytes contents;
    std::array<std::byte, 65536> block;
    size_t got = 0;
    while (in && (got = fread(block.data(), 1, block.size(), in.get())) > 0) {
        if (got > kMaxPayload - contents.size()) {
            throw Failure{"'" + path + "' is longer than a payload, " + std::to_string(kMaxPayload) +
                          " bytes; give --file a shorter file"};
        }
        contents.insert(contents.end(), block.begin(), block.begin() + static_cast<ptrdiff_t>(got));
    }
    if (!in || ferror(in.get()) != 0) {
        throw Failure{"cannot read '" + path + "': " + strerror(errno) + "; give --file a readable file"};
    }
    return contents;
}

}  // namespace

std::optional<uint32_t> parseNumber(const std::string &text) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const char *first = text.data() + (hexadecimal ? 2 : 0);
    const char *last = text.data() + text.size();
    uint32_t value = 0;
    const auto [end, error] = std::from_chars(first, last, value, hexadecimal ? 16 : 10);
    return error == std::errc{} && end == last ? std::optional{value} : std::nullopt;
}

uint32_t parseType(const std::string &text) {
    if (const auto number = parseNumber(text)) {
        return *number;
    }
    if (const auto type = msgnames::typeByName(text)) {
        return *type;
    }
    if (text.find('.') != std::string::npos) {
        return findMessage(text).message->type;
    }
    throw Failure{"unknown message type '" + text + "'; give a number or a VOS_MSG_ name", Exit::kUsage};
}

Argument addEntity(Arguments app, const std::string &name, std::string &value) {
    return app.option(name, value, "entity id, or name as 'vosctl list' shows it").called("ENTITY");
}

Argument addType(Arguments app, const std::string &name, std::string &value) {
    return app.option(name, value, "message type: number, VOS_MSG_ name or described message").called("TYPE");
}

Argument addCount(Arguments app, const std::string &name, uint32_t &value, const std::string &description) {
    return app.option(name, value, description).called("N").within(1U, UINT32_MAX);
}

Argument addTimeout(Arguments app, uint32_t &value) {
    return app.option("--timeout", value, "longest wait for the reply in milliseconds").called("MS").showsDefault();
}

Argument addJson(Arguments app, bool &value, const std::string &description) {
    return app.flag("--json", value, description);
}

void PayloadOptions::addTo(Arguments app) {
    Argument dataOption = app.option("--data", data, "payload: this text, without a terminator");
    Argument hexOption = app.option("--hex", hex, "payload: these bytes, e.g. '00 ff 17'");
    Argument fileOption = app.option("--file", file, "payload: the contents of this file");
    dataOption.called("TEXT").excludes(hexOption).excludes(fileOption);
    hexOption.called("HEX").excludes(fileOption);
    fileOption.called("FILE").anExistingPath();
}

Bytes PayloadOptions::read() const {
    return !file.empty() ? readFile(file) : !hex.empty() ? parseHex(hex) : toBytes(data);
}

}  // namespace vosctl
