// The hub's own report: one line an occurrence on standard error.
#pragma once

#include "vos/base.h"

namespace hubd {

/** Prints "vos-hubd: TEXT"; control characters are shown as dots, so that a client's name cannot forge a line.
 *  Never blocks: a line that cannot be written is lost, and the next one tells how many were. */
void logLine(const char *format, ...) VOS_PRINTF(1, 2);

}  // namespace hubd
