/** @file
 *  Diagnostic channel and assertions: short texts with function name and line, written to syslog only while the gate
 *  file exists.
 *
 *  The gate is tested anew at every message, so creating or deleting the file switches the diagnostics of every process
 *  on or off at once. While it is absent the arguments of a message are not evaluated. Nothing has to be initialised;
 *  a failing syslog is ignored. Safe from every thread.
 */
#ifndef VOS_DBG_H
#define VOS_DBG_H

#include <syslog.h>
#include <unistd.h>

#include "vos/base.h"

/** While this file exists, diagnostics go to syslog. */
#define VOS_DBG_GATE_FILE "/tmp/logdbg"

/** Writes one message of the given syslog priority; use the macros below. */
#if defined(__cplusplus) && __cplusplus > 201703L
#define VOS_DBG_PRINT(priority, fmt, ...)                                                       \
    do {                                                                                        \
        if (access(VOS_DBG_GATE_FILE, F_OK) == 0) {                                             \
            syslog((priority), "[%s:%d]: " fmt, __func__, __LINE__ __VA_OPT__(, ) __VA_ARGS__); \
        }                                                                                       \
    } while (0)
#else
/** @cond An empty text behind the arguments, so that there is always one: older languages want it so. */
#define VOS_DBG_ARGUMENTS(fmt, ...) "[%s:%d]: " fmt "%.0s", __func__, __LINE__, __VA_ARGS__
#define VOS_DBG_PRINT(priority, ...)                                \
    do {                                                            \
        if (access(VOS_DBG_GATE_FILE, F_OK) == 0) {                 \
            syslog((priority), VOS_DBG_ARGUMENTS(__VA_ARGS__, "")); \
        }                                                           \
    } while (0)
/** @endcond */
#endif

#define VOS_DBG_ERROR(...) VOS_DBG_PRINT(LOG_ERR, __VA_ARGS__)    /**< errors */
#define VOS_DBG_WARN(...) VOS_DBG_PRINT(LOG_WARNING, __VA_ARGS__) /**< warnings and notable events */
#define VOS_DBG_DEBUG(...) VOS_DBG_PRINT(LOG_DEBUG, __VA_ARGS__)  /**< tracing */

VOS_BEGIN_DECLS

/** Reports a failed assertion through the diagnostic channel and returns; never ends the process.
 *
 *  @param file       source file of the check
 *  @param line       its line
 *  @param exprText   text of the checked expression
 *  @param condition  non-zero: the check held, nothing happens
 */
void utilAst_assertFunc(const char *file, int line, const char *exprText, int condition);

VOS_END_DECLS

/** Checks @p expression and reports its text when it does not hold. */
#define UTIL_ASSERT(expression) utilAst_assertFunc(__FILE__, __LINE__, #expression, (expression) ? 1 : 0)

#endif
