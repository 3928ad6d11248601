/** @file
 *  What every other header of the library starts from: C linkage, compile-time checks and the attributes that let the
 *  compiler check callers.
 */
#ifndef VOS_BASE_H
#define VOS_BASE_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

/** @cond Where the linker cannot bind the library's calls to its own functions, a build of the library does it here. */
#ifdef VOS_BIND_BY_VISIBILITY
#define VOS_PUSH_VISIBILITY _Pragma("GCC visibility push(protected)")
#else
#define VOS_PUSH_VISIBILITY _Pragma("GCC visibility push(default)")
#endif
/** @endcond */

#ifdef __cplusplus
#define VOS_BEGIN_DECLS VOS_PUSH_VISIBILITY extern "C" {
#define VOS_END_DECLS \
    }                 \
    _Pragma("GCC visibility pop")
#define VOS_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
#define VOS_BEGIN_DECLS VOS_PUSH_VISIBILITY
#define VOS_END_DECLS _Pragma("GCC visibility pop")
#define VOS_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

/** Marks exported data, which programs may replace. */
#define VOS_DATA __attribute__((visibility("default")))

/** A conversion that neither language's compiler warns of. */
#ifdef __cplusplus
#define VOS_CAST(type, value) static_cast<type>(value)
#else
#define VOS_CAST(type, value) ((type)(value))
#endif

/** Name of the calling function, as log entries give it; vos/vos.hpp has one that knows lambdas. */
#define VOS_FUNCTION __func__

/** Marks a function whose argument number @p fmt is a printf format for the arguments from number @p first on. */
#define VOS_PRINTF(fmt, first) __attribute__((format(printf, fmt, first)))

#endif
