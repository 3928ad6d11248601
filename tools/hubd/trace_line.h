// One message as one line of text.
#pragma once

#include <cstdint>
#include <string>

#include "common/hub_protocol.h"
#include "entity_directory.h"
#include "framing.h"

namespace hubd {

/** "12:34:56.789012 VOS_MSG_REBOOT snmpd(4) -> hubd(20) request word=0 len=5 [to hub] 68 65 6c 6c 6f |hello|" and a
 *  line feed. The first 16 payload bytes are shown. */
std::string traceLine(const Frame &frame, hubproto::Verdict verdict, int64_t realtimeNs,
                      const EntityDirectory &directory);

}  // namespace hubd
