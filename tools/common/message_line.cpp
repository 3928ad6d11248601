// One routed message as one line of text.
#include "common/message_line.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>

#include "common/msg_names.h"

namespace msgline {

namespace {

constexpr size_t kShownBytes = 16;
constexpr std::array<const char *, 4> kVerdicts{"delivered", "to hub", "from hub", "nobody there"};

std::string entityText(VosEntityId eid, std::string_view name) {
    return printable(name) + "(" + std::to_string(eid) + ")";
}

std::string payloadText(std::span<const std::byte> payload) {
    const auto shown = payload.first(std::min(payload.size(), kShownBytes));
    std::string text = hexText(shown, " ");
    return text.append(" |").append(printable(shown)).append(payload.size() > shown.size() ? "|..." : "|");
}

}  // namespace

std::string hexText(std::span<const std::byte> bytes, std::string_view separator) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const std::byte byte : bytes) {
        const auto value = std::to_integer<size_t>(byte);
        text.append(text.empty() ? "" : separator).append({kDigits[value >> 4], kDigits[value & 0xf]});
    }
    return text;
}

std::string printable(std::string_view text) {
    std::string result{text};
    std::ranges::replace_if(
        result, [](char c) { return c < ' ' || c > '~'; }, '.');
    return result;
}

std::string printable(std::span<const std::byte> bytes) {
    return printable(std::string_view{reinterpret_cast<const char *>(bytes.data()), bytes.size()});
}

std::string timeText(uint64_t realtimeNs, bool utc) {
    const auto seconds = static_cast<time_t>(realtimeNs / 1'000'000'000);
    tm broken{};
    (utc ? gmtime_r : localtime_r)(&seconds, &broken);
    char text[64];
    const size_t length = strftime(text, sizeof text, utc ? "%Y-%m-%dT%H:%M:%S" : "%H:%M:%S", &broken);
    snprintf(text + length, sizeof text - length, ".%06u%s", static_cast<unsigned>(realtimeNs / 1000 % 1'000'000),
             utc ? "Z" : "");
    return text;
}

std::string messageLine(uint64_t realtimeNs, const VosMsgHeader &header, std::span<const std::byte> payload,
                        hubproto::Verdict verdict, std::string_view srcName, std::string_view dstName) {
    const auto index = static_cast<size_t>(verdict);
    return timeText(realtimeNs, false) + " " + msgnames::typeText(header.type) + " " + entityText(header.src, srcName) +
           " -> " + entityText(header.dst, dstName) + " " + msgnames::flagsText(header.flags) +
           " word=" + std::to_string(header.wordData) + " len=" + std::to_string(header.dataLength) + " [" +
           (index < kVerdicts.size() ? kVerdicts[index] : "?") + (payload.empty() ? "]" : "] " + payloadText(payload));
}

}  // namespace msgline
