// Cuts a stream of pieces into the 64-byte blocks that MD5 and SHA-256 work on.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vos {

constexpr size_t kDigestBlockSize = 64;
constexpr size_t kDigestLengthSize = 8;  // the message length in bits that ends the padding

/** Adds `len` bytes to a buffer that holds `fill` of them and hands every whole block to `transform(data, blocks)`,
 *  those inside `data` in one run. Returns the new fill. */
template <typename Transform>
size_t feedBlocks(uint8_t *buffer, size_t fill, const uint8_t *data, size_t len, Transform transform) {
    if (fill != 0) {
        const size_t taken = std::min(len, kDigestBlockSize - fill);
        memcpy(buffer + fill, data, taken);
        fill += taken;
        data += taken;
        len -= taken;
        if (fill < kDigestBlockSize) {
            return fill;
        }
        transform(buffer, size_t{1});
    }
    const size_t blocks = len / kDigestBlockSize;
    if (blocks != 0) {
        transform(data, blocks);
    }
    const size_t rest = len % kDigestBlockSize;
    memcpy(buffer, data + blocks * kDigestBlockSize, rest);
    return rest;
}

/** Pads the last block with a one bit, zeros and the length as the algorithm writes it, and hands it to `transform`. */
template <typename Transform>
void feedPadding(uint8_t *buffer, size_t fill, const uint8_t (&length)[kDigestLengthSize], Transform transform) {
    buffer[fill++] = 0x80;
    if (fill > kDigestBlockSize - kDigestLengthSize) {
        memset(buffer + fill, 0, kDigestBlockSize - fill);
        transform(buffer, size_t{1});
        fill = 0;
    }
    memset(buffer + fill, 0, kDigestBlockSize - kDigestLengthSize - fill);
    memcpy(buffer + kDigestBlockSize - kDigestLengthSize, length, kDigestLengthSize);
    transform(buffer, size_t{1});
}

/** Writes an integer in the byte order of the algorithm. */
template <typename T>
void storeLittle(uint8_t *out, T value) {
    for (size_t i = 0; i < sizeof value; i++) {
        out[i] = static_cast<uint8_t>(value >> (8 * i));
    }
}
template <typename T>
void storeBig(uint8_t *out, T value) {
    for (size_t i = 0; i < sizeof value; i++) {
        out[sizeof value - 1 - i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

}  // namespace vos
