// One routed message as one line of text, for the hub's trace and vosctl monitor.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "common/hub_protocol.h"
#include "vos/msg_types.h"

namespace msgline {

/** "00 ff 17" with a blank as separator. */
std::string hexText(std::span<const std::byte> bytes, std::string_view separator);

/** Printable ASCII as it stands, everything else as a dot. */
std::string printable(std::string_view text);
std::string printable(std::span<const std::byte> bytes);

/** CLOCK_REALTIME with microseconds: date and time in UTC, "2026-11-25T12:34:56.789012Z", or the time of day here. */
std::string timeText(uint64_t realtimeNs, bool utc);

/** "12:34:56.789012 VOS_MSG_REBOOT snmpd(4) -> hubd(20) request word=0 len=5 [to hub] 68 65 6c 6c 6f |hello|", without
 *  a line feed. The first 16 payload bytes are shown; an empty name leaves the number. */
std::string messageLine(uint64_t realtimeNs, const VosMsgHeader &header, std::span<const std::byte> payload,
                        hubproto::Verdict verdict, std::string_view srcName, std::string_view dstName);

}  // namespace msgline
