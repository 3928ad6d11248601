// One message as one line of text.
#include "trace_line.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>

#include "common/msg_names.h"
#include "log.h"

namespace hubd {

namespace {

constexpr size_t kShownBytes = 16;
constexpr std::array<const char *, 4> kVerdicts{"delivered", "to hub", "from hub", "nobody there"};

std::string timeText(int64_t realtimeNs) {
    const time_t seconds = realtimeNs / 1'000'000'000;
    tm local{};
    localtime_r(&seconds, &local);
    char text[32];
    snprintf(text, sizeof text, "%02d:%02d:%02d.%06d", local.tm_hour, local.tm_min, local.tm_sec,
             static_cast<int>(realtimeNs % 1'000'000'000 / 1000));
    return text;
}

std::string entityText(VosEntityId eid, const EntityDirectory &directory) {
    const std::string name = directory.nameOf(eid);
    return (name.empty() ? "" : printable(name, '?')) + "(" + std::to_string(eid) + ")";
}

std::string payloadText(std::span<const std::byte> payload) {
    const auto shown = payload.first(std::min(payload.size(), kShownBytes));
    std::string hex;
    for (const std::byte b : shown) {
        char digits[4];
        snprintf(digits, sizeof digits, " %02x", std::to_integer<unsigned>(b));
        hex += digits;
    }
    const std::string text{reinterpret_cast<const char *>(shown.data()), shown.size()};
    return hex + " |" + printable(text, '.') + (payload.size() > shown.size() ? "|..." : "|");
}

}  // namespace

std::string traceLine(const Frame &frame, hubproto::Verdict verdict, int64_t realtimeNs,
                      const EntityDirectory &directory) {
    const VosMsgHeader &header = frame.header;
    std::string line = timeText(realtimeNs) + " " + msgnames::typeText(header.type) + " " +
                       entityText(header.src, directory) + " -> " + entityText(header.dst, directory) + " " +
                       msgnames::flagsText(header.flags) + " word=" + std::to_string(header.wordData) +
                       " len=" + std::to_string(header.dataLength) + " [" + kVerdicts.at(static_cast<size_t>(verdict)) +
                       "]";
    if (header.dataLength > 0) {
        line += payloadText(frame.payload());
    }
    return line + "\n";
}

}  // namespace hubd
