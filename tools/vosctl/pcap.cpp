// Packets of a capture: what became of the message, its header, its payload; all in the machine's own byte order.
#include "pcap.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "command.h"

namespace vosctl {

namespace {

constexpr uint32_t kLinkTypeUser0 = 147;
constexpr uint32_t kSnapLength = 262144;  // what readers accept at most; longer messages are cut

struct FileHeader {
    uint32_t magic = 0xa1b23c4d;  // nanoseconds, in the writer's byte order
    uint16_t major = 2;
    uint16_t minor = 4;
    uint32_t reserved[2] = {};
    uint32_t snapLength = kSnapLength;
    uint32_t linkType = kLinkTypeUser0;
};
static_assert(sizeof(FileHeader) == 24);

struct PacketHeader {
    uint32_t seconds;
    uint32_t nanoseconds;
    uint32_t captured;
    uint32_t length;
};

struct Fate {
    uint32_t verdict;
    uint32_t lost;
};

}  // namespace

PcapFile::PcapFile(const std::string &path) : path_{path} {
    const int fd =
        path == "-" ? dup(STDOUT_FILENO) : open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    file_.reset(fd >= 0 ? fdopen(fd, "wb") : nullptr);
    if (!file_) {
        throw Failure{"cannot write " + path + ": " + strerror(errno)};
    }
    const FileHeader header;
    put(&header, sizeof header);
    flush();
}

void PcapFile::write(const hubproto::MonitorRecord &record, const VosMsgHeader &header, ByteView payload) {
    constexpr uint32_t kFixed = sizeof(Fate) + sizeof header;
    const auto captured = static_cast<uint32_t>(std::min<size_t>(payload.size(), kSnapLength - kFixed));
    const PacketHeader packet{.seconds = static_cast<uint32_t>(record.realtimeNs / 1'000'000'000),
                              .nanoseconds = static_cast<uint32_t>(record.realtimeNs % 1'000'000'000),
                              .captured = kFixed + captured,
                              .length = kFixed + static_cast<uint32_t>(payload.size())};
    const Fate fate{.verdict = record.verdict, .lost = record.lost};
    put(&packet, sizeof packet);
    put(&fate, sizeof fate);
    put(&header, sizeof header);
    put(payload.data(), captured);
    flush();
}

void PcapFile::put(const void *bytes, size_t length) {
    if (length > 0 && fwrite(bytes, length, 1, file_.get()) != 1) {
        throw Failure{"cannot write " + path_ + ": " + strerror(errno)};
    }
}

void PcapFile::flush() {
    if (fflush(file_.get()) != 0) {
        throw Failure{"cannot write " + path_ + ": " + strerror(errno)};
    }
}

}  // namespace vosctl
