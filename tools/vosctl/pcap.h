// A capture file that Wireshark reads: classic pcap with nanoseconds, link type 147 (user 0), see
// tools/wireshark/vos.lua.
#pragma once

#include <string>

#include "common/hub_protocol.h"
#include "hub_connection.h"
#include "internal/guards.h"

namespace vosctl {

class PcapFile {
  public:
    /** Creates the file, "-" for standard output; throws Failure. */
    explicit PcapFile(const std::string &path);

    /** Appends one message, complete on disk when the call returns; throws Failure. */
    void write(const hubproto::MonitorRecord &record, const VosMsgHeader &header, ByteView payload);

  private:
    void put(const void *bytes, size_t length);
    void flush();

    std::string path_;
    vos::UniqueFile file_;
};

}  // namespace vosctl
