// Bounded copies and formatting under the caller's name and line.
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "vos/mem.h"
#include "vos/text.h"

char *util_strncpy(const char *func, uint32_t line, char *dest, const char *src, int32_t dlen) {
    if (dest == nullptr || src == nullptr || dlen <= 0) {
        VOS_DBG_WARN("%s:%u:null pointer reference src =%p ,dest =%p, dlen = %d", func, line,
                     static_cast<const void *>(src), static_cast<void *>(dest), dlen);
        return dest;
    }
    const auto room = static_cast<size_t>(dlen) - 1;
    const size_t length = strnlen(src, room);
    memcpy(dest, src, length);
    memset(dest + length, 0, room + 1 - length);
    return dest;
}

char *util_strncat(const char *func, uint32_t line, char *dest, const char *src, int32_t dlen) {
    if (dest == nullptr || src == nullptr || dlen <= 0) {
        VOS_DBG_ERROR("%s:%u:null pointer reference src =%p ,dest =%p, dlen = %d", func, line,
                      static_cast<const void *>(src), static_cast<void *>(dest), dlen);
        return dest;
    }
    const auto size = static_cast<size_t>(dlen);
    const size_t used = strnlen(dest, size);
    const size_t room = size - used;
    if (room < 1) {
        VOS_DBG_ERROR("%s:%u:dlen < util_strlen(dest)", func, line);
        return dest;
    }
    const size_t length = strnlen(src, room);
    if (length == room) {
        VOS_DBG_WARN("%s:%u:truncating:src string length > dest buffer", func, line);
    }
    const size_t taken = length < room ? length : room - 1;
    memcpy(dest + used, src, taken);
    dest[used + taken] = '\0';
    return dest;
}

int util_snprintf(const char *func, uint32_t line, char *buf, uint32_t size, const char *format, ...) {
    if (buf == nullptr || format == nullptr) {
        VOS_DBG_ERROR("%s:%u:null pointer reference str =%p, format =%p", func, line, static_cast<void *>(buf),
                      static_cast<const void *>(format));
        return 0;
    }
    va_list args;
    va_start(args, format);
    const int length = vsnprintf(buf, size, format, args);
    va_end(args);
    return length;
}

int util_sprintf_alloc(const char *func, uint32_t line, char **out, const char *format, ...) {
    if (out != nullptr) {
        *out = nullptr;
    }
    if (out == nullptr || format == nullptr) {
        VOS_DBG_ERROR("%s:%u:null pointer reference str =%p, format =%p", func, line, static_cast<void *>(out),
                      static_cast<const void *>(format));
        return 0;
    }
    va_list args;
    va_start(args, format);
    int length = vsnprintf(nullptr, 0, format, args);
    va_end(args);
    if (length < 0) {
        VOS_DBG_ERROR("%s:%u:vsnprintf error!", func, line);
        return 0;
    }
    const uint32_t size = static_cast<uint32_t>(length) + 1;
    auto *text = static_cast<char *>(vosMem_alloc(size, ALLOC_ZEROIZE, func, line));
    if (text == nullptr) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return 0;
    }
    va_start(args, format);
    length = vsnprintf(text, size, format, args);
    va_end(args);
    *out = text;
    return length;
}
