// A daemon log's shared segment as seen from outside: found by name, copied out, changed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "vos/log.h"

namespace vosctl {

/** Everything known about one segment at one moment. */
struct LogSegment {
    std::string name;                    // of the process, as its key file carries it
    int id = -1;                         // -1: the key file has no segment
    size_t size = 0;                     // bytes; less than LogSharedConfig: somebody else's
    uint64_t attached = 0;               // how many processes hold it
    std::vector<std::string> processes;  // ids of those that hold it, as far as this user may see them
    LogSharedConfig config;              // zero unless the segment is large enough

    bool isForeign() const { return size < sizeof(LogSharedConfig); }
    /** Who holds it: "process 17", or "nobody". */
    std::string holders() const;
    /** Call sites, the oldest first, printable whatever the segment holds. */
    std::vector<std::string> callSites() const;
};

/** The segments of all key files, by name. */
std::vector<LogSegment> findLogs();
/** The segment of one name; nothing without its key file. */
std::optional<LogSegment> findLog(const std::string &name);

/** What the user wants changed. */
struct LogChange {
    std::optional<uint32_t> level;
    std::optional<uint32_t> destination;
    std::optional<uint32_t> maxSize;
};
/** Writes into a segment that is no foreign one; throws Failure. */
void changeLog(const LogSegment &segment, const LogChange &change);

}  // namespace vosctl
