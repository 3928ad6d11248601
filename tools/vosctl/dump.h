// Bytes and foreign texts as people read them.
#pragma once

#include <string>
#include <string_view>

#include "hub.h"

namespace vosctl {

/** "00 ff 17" with a blank as separator. */
std::string hexText(ByteView bytes, std::string_view separator);

/** Printable ASCII as it stands, everything else as a dot. */
std::string printable(ByteView bytes);
std::string printable(std::string_view text);

/** Lines of 16 bytes to standard output: offset, hexadecimal, text; nothing for an empty view. */
void printDump(ByteView bytes);

}  // namespace vosctl
