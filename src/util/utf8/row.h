// UTF-8 character by character, for the converters' inner loops.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vos {

// One length of sequence: its lead byte is cval under cmask, its value at most lmask and at least lval.
struct Utf8Row {
    uint8_t cmask;
    uint8_t cval;
    uint8_t shift;
    uint32_t lmask;
    uint32_t lval;
};
inline constexpr std::array<Utf8Row, 6> utf8_table{{{0x80, 0x00, 0, 0x7F, 0},
                                                    {0xE0, 0xC0, 6, 0x7FF, 0x80},
                                                    {0xF0, 0xE0, 12, 0xFFFF, 0x800},
                                                    {0xF8, 0xF0, 18, 0x1FFFFF, 0x10000},
                                                    {0xFC, 0xF8, 24, 0x3FFFFFF, 0x200000},
                                                    {0xFE, 0xFC, 30, 0x7FFFFFFF, 0x4000000}}};

/** Bytes used, or -1. */
inline int decodeUtf8(uint32_t *unit, const uint8_t *bytes, size_t available) {
    if (available == 0) {
        return -1;
    }
    uint64_t value = bytes[0];
    for (size_t row = 0; row < utf8_table.size(); row++) {
        if ((bytes[0] & utf8_table[row].cmask) == utf8_table[row].cval) {
            value &= utf8_table[row].lmask;
            *unit = static_cast<uint32_t>(value);
            return value < utf8_table[row].lval ? -1 : static_cast<int>(row) + 1;
        }
        if (row + 1 >= available || (bytes[row + 1] & 0xC0) != 0x80) {
            return -1;
        }
        value = value << 6 | (bytes[row + 1] & 0x3Fu);
    }
    return -1;
}

/** Bytes written, or -1. */
inline int encodeUtf8(uint8_t *out, uint32_t unit, size_t room) {
    for (size_t row = 0; row < utf8_table.size() && row < room; row++) {
        if (unit > utf8_table[row].lmask) {
            continue;
        }
        unsigned shift = utf8_table[row].shift;
        *out = static_cast<uint8_t>(utf8_table[row].cval | unit >> shift);
        while (shift > 0) {
            shift -= 6;
            *++out = static_cast<uint8_t>(0x80 | (unit >> shift & 0x3F));
        }
        return static_cast<int>(row) + 1;
    }
    return -1;
}

}  // namespace vos
