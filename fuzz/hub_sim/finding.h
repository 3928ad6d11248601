// What a simulation does when the hub breaks a rule.
#pragma once

#include "vos/base.h"

namespace hubsim {

/** Prints what happened, at which seed and step, and how to see it again; ends the program. */
[[noreturn]] void finding(const char *format, ...) VOS_PRINTF(1, 2);

}  // namespace hubsim
