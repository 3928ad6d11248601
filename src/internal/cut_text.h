// Builds a text in a buffer of fixed size without printf; what does not fit is cut.
#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace vos {

/** The text ends in NUL once the builder is gone. */
class CutText {
  public:
    /** @param size  bytes of `data` with the terminator, at least 1 */
    CutText(char *data, size_t size) : next_{data}, last_{data + size - 1} {}
    template <size_t size>
    explicit CutText(char (&data)[size]) : CutText{data, size} {}
    CutText(const CutText &) = delete;
    CutText &operator=(const CutText &) = delete;
    ~CutText() { *next_ = '\0'; }

    // Copied while the end is looked for: names are short, and the call takes nanoseconds.
    CutText &text(const char *part) {
        while (*part != '\0' && next_ != last_) {
            *next_++ = *part++;
        }
        return *this;
    }
    CutText &character(char c) {
        if (next_ != last_) {
            *next_++ = c;
        }
        return *this;
    }
    /** A decimal number, filled up with zeros to `width` digits, at most 10. */
    CutText &number(uint32_t value, int width = 1) {
        char digits[10];
        int count = 0;
        do {
            digits[count++] = static_cast<char>('0' + value % 10);
            value /= 10;
        } while (value != 0 || count < width);
        while (count > 0) {
            character(digits[--count]);
        }
        return *this;
    }
    /** The number as %d prints it. */
    CutText &signedNumber(uint32_t value) {
        if (value <= INT32_MAX) {
            return number(value);
        }
        return character('-').number(0U - value);
    }
    [[gnu::format(printf, 2, 0)]] CutText &format(const char *fmt, va_list args) {
        const int wanted = vsnprintf(next_, room() + 1, fmt, args);
        next_ += std::min(static_cast<size_t>(std::max(wanted, 0)), room());
        return *this;
    }

  private:
    size_t room() const { return static_cast<size_t>(last_ - next_); }

    char *next_;
    char *const last_;
};

}  // namespace vos
