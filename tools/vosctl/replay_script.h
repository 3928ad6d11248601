// One client's conversation with one daemon, out of a capture.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "hub_connection.h"

namespace vosctl {

/** A message that was recorded, or that came now. */
struct Message {
    uint64_t number = 0;  // in the capture; 0: now
    uint64_t timeNs = 0;
    VosMsgHeader header{};
    Bytes payload;
};

struct Step {
    Message sent;
    std::optional<Message> reply;  // where the recording has one
    size_t after = 0;              // how many replies and requests of the daemon had come before
};

struct ReplayScript {
    std::vector<Step> steps;
    /** What the daemon sent unasked, by type. */
    std::map<uint32_t, std::vector<Message>> events;
};

/** Whether a message is of the hub's or the library's own household, not of the conversation. */
bool isHousekeeping(uint32_t type);

/** Reads a conversation; throws Failure. */
ReplayScript readScript(const std::string &path, const std::string &client, const std::string &daemon);

}  // namespace vosctl
