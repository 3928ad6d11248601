// The hub's own report: one line an occurrence on standard error.
#pragma once

#include <string>
#include <string_view>

#include "vos/base.h"

namespace hubd {

/** Prints "vos-hubd: TEXT"; control characters are shown as '?', so that a client's name cannot forge a line. */
void logLine(const char *format, ...) VOS_PRINTF(1, 2);

/** The text with everything but printable ASCII replaced by `substitute`. */
std::string printable(std::string_view text, char substitute);

}  // namespace hubd
