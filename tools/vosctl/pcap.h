// A capture file that Wireshark reads: classic pcap with nanoseconds, link type 147 (user 0), see
// tools/wireshark/vos.lua.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "common/hub_protocol.h"
#include "hub_connection.h"

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

    struct Close {
        void operator()(FILE *file) const { fclose(file); }
    };
    std::string path_;
    std::unique_ptr<FILE, Close> file_;
};

}  // namespace vosctl
