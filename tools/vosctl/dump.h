// A payload as people read it.
#pragma once

#include "hub_connection.h"

namespace vosctl {

/** Lines of 16 bytes to standard output: offset, hexadecimal, text; nothing for an empty view. */
void printDump(ByteView bytes);

}  // namespace vosctl
