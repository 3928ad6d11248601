// The ways of running the CRC-32 register over bytes. All give the same result.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vos::crc32 {

constexpr uint32_t kPolynomial = 0xEDB88320;

/** The register after one zero byte, `value` being all that was in it. */
constexpr uint32_t afterByte(uint32_t value) {
    for (int bit = 0; bit < 8; bit++) {
        value = value >> 1 ^ (value % 2 == 0 ? 0 : kPolynomial);
    }
    return value;
}

/** Tables only; works everywhere. */
uint32_t withTables(const uint8_t *bytes, size_t size, uint32_t crc);

/** The fastest way that this processor offers. */
uint32_t run(const uint8_t *bytes, size_t size, uint32_t crc);

}  // namespace vos::crc32
