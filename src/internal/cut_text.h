// Builds a text in a buffer of fixed size without printf; what does not fit is cut, and the text always ends in NUL.
#ifndef VOS_INTERNAL_CUT_TEXT_H
#define VOS_INTERNAL_CUT_TEXT_H

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace vos {

class CutText {
  public:
    /** @param size  bytes of `data` with the terminator, at least 1 */
    CutText(char *data, size_t size) : data_{data}, room_{size - 1} { data_[0] = '\0'; }
    template <size_t size>
    explicit CutText(char (&data)[size]) : CutText{data, size} {}

    CutText &text(std::string_view part) {
        const size_t count = std::min(part.size(), room_ - length_);
        memcpy(data_ + length_, part.data(), count);
        length_ += count;
        data_[length_] = '\0';
        return *this;
    }
    /** A decimal number, filled up with zeros to `width` digits. */
    CutText &number(uint32_t value, size_t width = 1) {
        char digits[10];
        char *first = digits + sizeof digits;
        do {
            *--first = static_cast<char>('0' + value % 10);
            value /= 10;
        } while (value != 0 || first > digits + sizeof digits - width);
        return text({first, static_cast<size_t>(digits + sizeof digits - first)});
    }
    /** The number as %d prints it. */
    CutText &signedNumber(uint32_t value) {
        const bool negative = value > INT32_MAX;
        return text(negative ? "-" : "").number(negative ? 0U - value : value);
    }
    [[gnu::format(printf, 2, 0)]] CutText &format(const char *fmt, va_list args) {
        const int wanted = vsnprintf(data_ + length_, room_ - length_ + 1, fmt, args);
        length_ += std::min(static_cast<size_t>(std::max(wanted, 0)), room_ - length_);
        data_[length_] = '\0';
        return *this;
    }

  private:
    char *data_;
    size_t room_;  // without the terminator
    size_t length_ = 0;
};

}  // namespace vos

#endif
