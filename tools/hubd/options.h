// What the command line settles.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "vos/msg.h"

namespace hubd {

struct Options {
    std::string socketPath = VOS_MSG_HUB_SOCKET_PATH;
    std::string pluginDataDir = "/var/plugin/data";
    std::string pluginTmpDir = "/tmp/plugin";
    size_t queueLimit = size_t{8} << 20;
    size_t payloadLimit = size_t{16} << 20;
    uint32_t announceTimeoutMs = 10000;
    uint32_t deafAfterMs = 5000;
    size_t memoryLimit = size_t{256} << 20;
    std::optional<mode_t> socketMode;  // else the umask decides
    int readyFd = -1;
    bool trace = false;
    bool testClock = false;  // delayed messages go by a clock that moves only when it is told to
};

}  // namespace hubd
