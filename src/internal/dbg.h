// The diagnostic channel as the library itself writes to it: the question for the gate stands in one place.
#pragma once

#include "vos/dbg.h"

namespace vos {

/** Writes a text of the given priority while the gate file exists. */
[[gnu::format(printf, 2, 3), gnu::cold]] void dbgPrint(int priority, const char *format, ...);

/** The same with LOG_ERR, which most have. */
[[gnu::format(printf, 1, 2), gnu::cold]] void dbgError(const char *format, ...);

}  // namespace vos

#undef VOS_DBG_PRINT
#undef VOS_DBG_ERROR
#define VOS_DBG_TEXT(fmt, ...) "[%s:%d]: " fmt, __func__, __LINE__ __VA_OPT__(, ) __VA_ARGS__
#define VOS_DBG_PRINT(priority, ...) vos::dbgPrint((priority), VOS_DBG_TEXT(__VA_ARGS__))
#define VOS_DBG_ERROR(...) vos::dbgError(VOS_DBG_TEXT(__VA_ARGS__))
