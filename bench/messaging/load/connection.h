// A daemon's connection to the hub without the library: thousands of them fit in one process.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "internal/guards.h"
#include "vos/msg_types.h"

namespace load {

[[noreturn]] void fail(const std::string &what);

constexpr uint32_t kType = 0x10005000;

/** One whole message as it goes over the wire. */
std::string message(uint32_t type, VosEntityId src, VosEntityId dst, uint16_t flags, uint32_t wordData,
                    const std::string &payload = {});

class Connection {
  public:
    /** Connects and announces itself; the hub gives it an id. */
    explicit Connection(const std::string &socketPath);

    int fd() const { return fd_.get(); }
    VosEntityId eid() const { return eid_; }

    void send(const std::string &bytes) const;
    /** Reads one message away and returns its header. */
    VosMsgHeader receive();
    /** A request to the hub, until its reply has come. */
    void ask(uint32_t type, uint32_t wordData = 0, const std::string &payload = {});
    /** That of the message received last. */
    const std::vector<char> &payload() const { return payload_; }
    /** From now on calls that would wait return at once. */
    void doNotWait() const;

  private:
    vos::UniqueFd fd_;
    VosEntityId eid_ = 0;
    std::vector<char> payload_;
};

}  // namespace load
