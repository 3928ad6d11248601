// Captures are anybody's files: every length is compared before it is used.
#include "capture.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "command.h"

namespace vosctl {

namespace {

constexpr uint32_t kNanoseconds = 0xa1b23c4d;
constexpr uint32_t kMicroseconds = 0xa1b2c3d4;
constexpr uint32_t kNextGeneration = 0x0a0d0d0a;
constexpr uint32_t kLinkTypeUser0 = 147;
constexpr size_t kFileHeader = 24;
constexpr size_t kPacketHeader = 16;
constexpr size_t kFate = 8;
constexpr size_t kFixed = kFate + sizeof(VosMsgHeader);
constexpr size_t kMostCaptured = 262144;

}  // namespace

CaptureFile::CaptureFile(const std::string &path)
    : path_{path}, file_{path == "-" ? stdin : fopen(path.c_str(), "rbe")}, packet_(kMostCaptured) {
    errno = file_ ? 0 : errno;
    const size_t got = file_ ? read(kFileHeader) : 0;
    if (!file_ || ferror(file_.get()) != 0) {
        throw Failure{"cannot read '" + path + "': " + strerror(errno)};
    }
    const uint32_t magic = got < sizeof magic ? 0 : u32(0);
    const auto isOneOf = [&](uint32_t value) { return value == kNanoseconds || value == kMicroseconds; };
    swapped_ = isOneOf(__builtin_bswap32(magic));
    nanoseconds_ = u32(0) == kNanoseconds;
    if (magic == kNextGeneration) {
        throw Failure{"'" + path + "' is a pcapng file; 'editcap -F nsecpcap' makes a capture of it that can be read"};
    }
    if (!isOneOf(magic) && !swapped_) {
        throw Failure{"'" + path + "' is no capture; 'vosctl record' writes one"};
    }
    if (got < kFileHeader) {
        throw Failure{"'" + path + "' ends inside its header; record it again"};
    }
    if (const uint32_t linkType = u32(20); linkType != kLinkTypeUser0) {
        throw Failure{"'" + path + "' is a capture of something else, link type " + std::to_string(linkType) +
                      "; 'vosctl record' writes those of messages"};
    }
}

uint32_t CaptureFile::u32(size_t offset) const {
    uint32_t value = 0;
    memcpy(&value, packet_.data() + offset, sizeof value);
    return swapped_ ? __builtin_bswap32(value) : value;
}

uint16_t CaptureFile::u16(size_t offset) const {
    uint16_t value = 0;
    memcpy(&value, packet_.data() + offset, sizeof value);
    return swapped_ ? __builtin_bswap16(value) : value;
}

size_t CaptureFile::read(size_t length) {
    return fread(packet_.data(), 1, length, file_.get());
}

// The length of the next packet, whose bytes stand in packet_.
std::optional<size_t> CaptureFile::readPacket() {
    if (!problem_.empty()) {
        return std::nullopt;
    }
    const size_t got = read(kPacketHeader);
    const std::string where = "behind message " + std::to_string(number_);
    if (got == 0 && ferror(file_.get()) == 0) {
        return std::nullopt;
    }
    if (got < kPacketHeader) {
        problem_ = "the file is cut " + where;
        return std::nullopt;
    }
    const uint64_t fraction = u32(4);
    timeNs_ = uint64_t{u32(0)} * 1'000'000'000 + fraction * (nanoseconds_ ? 1 : 1000);
    const size_t length = u32(8);
    if (length > kMostCaptured || fraction >= (nanoseconds_ ? 1'000'000'000U : 1'000'000U)) {
        problem_ = "the file is damaged " + where;
        return std::nullopt;
    }
    if (read(length) < length) {
        problem_ = "the file is cut " + where;
        return std::nullopt;
    }
    return length;
}

Captured CaptureFile::decode(size_t length) const {
    Captured message{};
    message.timeNs = timeNs_;
    message.verdict = u32(0);
    message.lost = u32(4);
    VosMsgHeader &header = message.header;
    header.type = u32(kFate + offsetof(VosMsgHeader, type));
    header.src = u32(kFate + offsetof(VosMsgHeader, src));
    header.dst = u32(kFate + offsetof(VosMsgHeader, dst));
    header.flags = u16(kFate + offsetof(VosMsgHeader, flags));
    header.sequenceNumber = u16(kFate + offsetof(VosMsgHeader, sequenceNumber));
    header.wordData = u32(kFate + offsetof(VosMsgHeader, wordData));
    header.dataLength = u32(kFate + offsetof(VosMsgHeader, dataLength));
    const size_t there = std::min<size_t>(length - kFixed, header.dataLength);
    message.payload = ByteView{packet_}.subspan(kFixed, there);
    message.cut = there < header.dataLength;
    return message;
}

std::optional<Captured> CaptureFile::next() {
    while (const auto length = readPacket()) {
        number_++;
        if (*length >= kFixed) {
            return decode(*length);
        }
        foreign_++;
    }
    return std::nullopt;
}

}  // namespace vosctl
