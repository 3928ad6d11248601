// Reads captures that PcapFile wrote, on this machine or on one of the other byte order.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "hub_connection.h"
#include "internal/guards.h"

namespace vosctl {

struct Captured {
    uint64_t timeNs = 0;
    uint32_t verdict = 0;
    uint32_t lost = 0;
    VosMsgHeader header{};
    ByteView payload;  // valid until the next one is read
    bool cut = false;  // the payload is not all there
};

class CaptureFile {
  public:
    /** Opens a capture, "-" for standard input; throws Failure for what is none. */
    explicit CaptureFile(const std::string &path);

    /** The next message; nothing at the end. */
    std::optional<Captured> next();
    /** Why the file cannot be read further; empty at a proper end. */
    const std::string &problem() const { return problem_; }
    /** Packets so far that hold no message. */
    uint64_t foreign() const { return foreign_; }

  private:
    uint32_t u32(size_t offset) const;
    uint16_t u16(size_t offset) const;
    std::optional<size_t> readPacket();
    size_t read(size_t length);
    Captured decode(size_t length) const;

    std::string path_;
    vos::UniqueFile file_;
    Bytes packet_;
    uint64_t timeNs_ = 0;
    uint64_t number_ = 0;
    uint64_t foreign_ = 0;
    bool swapped_ = false;
    bool nanoseconds_ = false;
    std::string problem_;
};

}  // namespace vosctl
