// CRC-32 by tables, by carry-less multiplication (x86) and by the CRC instructions (64-bit Arm).
#include "util/codec/crc32_paths.h"

#include <array>
#include <bit>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "internal/processor.h"

namespace vos::crc32 {

namespace {

constexpr size_t kSlices = 8;

// Table k holds the register after the byte and k zero bytes more.
using Tables = std::array<std::array<uint32_t, 256>, kSlices>;
consteval Tables makeTables() {
    Tables tables{};
    for (uint32_t value = 0; value < 256; value++) {
        uint32_t crc = value;
        for (auto &table : tables) {
            crc = afterByte(crc);
            table[value] = crc;
        }
    }
    return tables;
}
constexpr Tables kTables = makeTables();

constexpr uint64_t littleEndian(uint64_t value) {
    return std::endian::native == std::endian::little ? value : __builtin_bswap64(value);
}

uint64_t loadLittleEndian(const uint8_t *bytes) {
    uint64_t value = 0;
    memcpy(&value, bytes, sizeof value);
    return littleEndian(value);
}

uint32_t byteByByte(const uint8_t *bytes, size_t size, uint32_t crc) {
    for (size_t i = 0; i < size; i++) {
        crc = kTables[0][(crc ^ bytes[i]) & 0xFF] ^ crc >> 8;
    }
    return crc;
}

}  // namespace

uint32_t withTables(const uint8_t *bytes, size_t size, uint32_t crc) {
    size_t done = 0;
    for (; size - done >= kSlices; done += kSlices) {
        const uint64_t value = loadLittleEndian(bytes + done) ^ crc;
        crc = 0;
        for (size_t i = 0; i < kSlices; i++) {
            crc ^= kTables[kSlices - 1 - i][value >> (8 * i) & 0xFF];
        }
    }
    return byteByByte(bytes + done, size - done, crc);
}

#if defined(__x86_64__)

namespace {

// Folding as in "Fast CRC Computation for Generic Polynomials Using PCLMULQDQ Instruction" (Intel, 2009), bits
// reflected: a block is multiplied onto the block `distance` bits further on. What is left at the end are 16 bytes with
// the same remainder as the whole, and those go through the tables.
constexpr size_t kBlock = 16;
constexpr size_t kLanes = 4;
constexpr size_t kStride = kLanes * kBlock;

// x to the power of `exponent` modulo the polynomial, reflected, one place up as a product of reflected factors needs.
constexpr int64_t foldConstant(uint32_t exponent) {
    uint32_t power = 0x80000000;
    for (uint32_t i = 0; i < exponent; i++) {
        power = power >> 1 ^ (power % 2 == 0 ? 0 : kPolynomial);
    }
    return int64_t{power} << 1;
}

template <uint32_t Distance>
[[gnu::target("pclmul")]] inline __m128i fold(__m128i block, __m128i onto) {
    constexpr int64_t kLow = foldConstant(Distance + 32);
    constexpr int64_t kHigh = foldConstant(Distance - 32);
    const __m128i constants = _mm_set_epi64x(kHigh, kLow);
    const __m128i low = _mm_clmulepi64_si128(block, constants, 0x00);
    const __m128i high = _mm_clmulepi64_si128(block, constants, 0x11);
    return _mm_xor_si128(_mm_xor_si128(low, high), onto);
}

inline __m128i loadBlock(const uint8_t *bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
}

// At least one stride.
[[gnu::target("pclmul")]] uint32_t withProducts(const uint8_t *bytes, size_t size, uint32_t crc) {
    __m128i lanes[kLanes];
    for (size_t i = 0; i < kLanes; i++) {
        lanes[i] = loadBlock(bytes + i * kBlock);
    }
    lanes[0] = _mm_xor_si128(lanes[0], _mm_cvtsi32_si128(static_cast<int>(crc)));
    size_t done = kStride;
    for (; size - done >= kStride; done += kStride) {
        for (size_t i = 0; i < kLanes; i++) {
            lanes[i] = fold<kStride * 8>(lanes[i], loadBlock(bytes + done + i * kBlock));
        }
    }
    __m128i last = lanes[0];
    for (size_t i = 1; i < kLanes; i++) {
        last = fold<kBlock * 8>(last, lanes[i]);
    }
    for (; size - done >= kBlock; done += kBlock) {
        last = fold<kBlock * 8>(last, loadBlock(bytes + done));
    }
    uint8_t remainder[kBlock];
    _mm_storeu_si128(reinterpret_cast<__m128i *>(remainder), last);
    return withTables(bytes + done, size - done, withTables(remainder, kBlock, 0));
}

}  // namespace

uint32_t run(const uint8_t *bytes, size_t size, uint32_t crc) {
    return size >= kStride && processorHas(Feature::kCarrylessProduct) ? withProducts(bytes, size, crc)
                                                                       : withTables(bytes, size, crc);
}

#elif defined(__aarch64__)

namespace {

// Compilers offer the intrinsics only to code that is built for such a processor as a whole.
inline uint32_t crcOf8(uint32_t crc, uint64_t value) {
    asm(".arch_extension crc\n\tcrc32x %w0, %w0, %x1" : "+r"(crc) : "r"(value));
    return crc;
}
inline uint32_t crcOf1(uint32_t crc, uint8_t value) {
    asm(".arch_extension crc\n\tcrc32b %w0, %w0, %w1" : "+r"(crc) : "r"(uint32_t{value}));
    return crc;
}

uint32_t withInstructions(const uint8_t *bytes, size_t size, uint32_t crc) {
    const uint8_t *const end = bytes + size;
    for (; end - bytes >= 8; bytes += 8) {
        crc = crcOf8(crc, loadLittleEndian(bytes));
    }
    for (; bytes != end; bytes++) {
        crc = crcOf1(crc, *bytes);
    }
    return crc;
}

}  // namespace

uint32_t run(const uint8_t *bytes, size_t size, uint32_t crc) {
    return processorHas(Feature::kCrc32) ? withInstructions(bytes, size, crc) : withTables(bytes, size, crc);
}

#else

uint32_t run(const uint8_t *bytes, size_t size, uint32_t crc) {
    return withTables(bytes, size, crc);
}

#endif

}  // namespace vos::crc32
