// Error texts of code that runs between fork and exec: straight to standard error, without allocation and without the
// stream's lock, which another thread of the parent may hold.
#pragma once

#include <unistd.h>
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#ifdef __GLIBC_PREREQ
#define VOS_HAS_PLAIN_ERROR_TEXT __GLIBC_PREREQ(2, 32)
#else
#define VOS_HAS_PLAIN_ERROR_TEXT 0
#endif

namespace vos {

/** strerror() without the lock that some C libraries take to translate. */
inline const char *errorText(int error) {
#if VOS_HAS_PLAIN_ERROR_TEXT
    const char *text = strerrordesc_np(error);
    return text != nullptr ? text : "Unknown error";
#else
    return strerror(error);
#endif
}

[[gnu::format(printf, 1, 2)]] inline void childError(const char *format, ...) {
    char text[1024];
    va_list args;
    va_start(args, format);
    const int length = vsnprintf(text, sizeof text, format, args);
    va_end(args);
    if (length > 0) {
        [[maybe_unused]] const ssize_t ignored =
            write(STDERR_FILENO, text, std::min(static_cast<size_t>(length), sizeof text - 1));
    }
}

}  // namespace vos
