// Base64 blocks with vector instructions: SSSE3 where an x86 has it, NEON on every 64-bit Arm.
#include "util/codec/base64_groups.h"

#if defined(__x86_64__)
#include <immintrin.h>

#include <cstring>

#include "internal/processor.h"
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace vos::base64 {

#if defined(__x86_64__)

// Character classes and bit moves as in Muła and Lemire, "Faster Base64 Encoding and Decoding Using AVX2 Instructions"
// (2018), in registers of 16 bytes.
namespace {

constexpr size_t kBlockBytes = 12;
constexpr size_t kBlockChars = 16;
constexpr size_t kRegister = 16;

[[gnu::target("ssse3")]] inline __m128i toCharacters(__m128i values) {
    // Each class of characters lies at one distance from its values. Classes: 13 capitals, 0 small letters, 1 to 10
    // one for each digit, 11 and 12 plus and slash.
    const __m128i distances = _mm_setr_epi8('a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                                            '0' - 52, '0' - 52, '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0);
    const __m128i isCapital = _mm_cmpgt_epi8(_mm_set1_epi8(26), values);
    const __m128i classes =
        _mm_or_si128(_mm_subs_epu8(values, _mm_set1_epi8(51)), _mm_and_si128(isCapital, _mm_set1_epi8(13)));
    return _mm_add_epi8(values, _mm_shuffle_epi8(distances, classes));
}

[[gnu::target("ssse3")]] inline void encodeBlock(__m128i bits, char *out) {
    bits = _mm_shuffle_epi8(bits, _mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10));
    // Products of 16 bits shift each six to the low end of its own byte.
    const __m128i even = _mm_mulhi_epu16(_mm_and_si128(bits, _mm_set1_epi32(0x0FC0FC00)), _mm_set1_epi32(0x04000040));
    const __m128i odd = _mm_mullo_epi16(_mm_and_si128(bits, _mm_set1_epi32(0x003F03F0)), _mm_set1_epi32(0x01000010));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out), toCharacters(_mm_or_si128(even, odd)));
}

[[gnu::target("ssse3")]] inline __m128i load(const void *from) {
    return _mm_loadu_si128(static_cast<const __m128i *>(from));
}

[[gnu::target("ssse3")]] size_t encodeWithShuffle(const uint8_t *in, size_t size, char *out) {
    size_t done = 0;
    for (; size - done >= kRegister; done += kBlockBytes, out += kBlockChars) {
        encodeBlock(load(in + done), out);
    }
    if (size - done >= kBlockBytes) {  // the last block: loaded with four bytes before it instead of behind
        constexpr int kBefore = kRegister - kBlockBytes;
        encodeBlock(_mm_srli_si128(load(in + done - kBefore), kBefore), out);
        done += kBlockBytes;
    }
    return done;
}

// False when a character lies outside the alphabet.
[[gnu::target("ssse3")]] inline bool toValues(__m128i &characters) {
    // A character is wrong when its two halves share a bit here; bit 4 stands for rows that are wrong altogether.
    const __m128i wrongByLow =
        _mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
    const __m128i wrongByHigh =
        _mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
    const __m128i high = _mm_and_si128(_mm_srli_epi32(characters, 4), _mm_set1_epi8(0x0F));
    const __m128i low = _mm_and_si128(characters, _mm_set1_epi8(0x0F));
    const __m128i wrong = _mm_and_si128(_mm_shuffle_epi8(wrongByLow, low), _mm_shuffle_epi8(wrongByHigh, high));
    // Distances by the high half; the slash alone differs from its row and uses the unused row before it.
    const __m128i distances =
        _mm_setr_epi8(0, 63 - '/', 62 - '+', 52 - '0', -'A', -'A', 26 - 'a', 26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0);
    const __m128i isSlash = _mm_cmpeq_epi8(characters, _mm_set1_epi8('/'));
    characters = _mm_add_epi8(characters, _mm_shuffle_epi8(distances, _mm_add_epi8(high, isSlash)));
    return _mm_movemask_epi8(_mm_cmpeq_epi8(wrong, _mm_setzero_si128())) == 0xFFFF;
}

// Twelve bytes of 16 characters, four zeros behind them.
[[gnu::target("ssse3")]] inline __m128i pack(__m128i values) {
    const __m128i twelves = _mm_maddubs_epi16(values, _mm_set1_epi32(0x01400140));
    const __m128i groups = _mm_madd_epi16(twelves, _mm_set1_epi32(0x00011000));
    return _mm_shuffle_epi8(groups, _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1));
}

[[gnu::target("ssse3")]] size_t decodeWithShuffle(const char *text, size_t size, uint8_t *out) {
    size_t done = 0;
    for (; size - done >= kBlockChars; done += kBlockChars, out += kBlockBytes) {
        __m128i values = load(text + done);
        if (!toValues(values)) {
            break;
        }
        const __m128i bytes = pack(values);
        if (size - done >= kBlockChars + 8) {  // the next eight characters stand for the four bytes too many
            _mm_storeu_si128(reinterpret_cast<__m128i *>(out), bytes);
        } else {
            alignas(kRegister) uint8_t block[kRegister];
            _mm_store_si128(reinterpret_cast<__m128i *>(block), bytes);
            memcpy(out, block, kBlockBytes);
        }
    }
    return done;
}

}  // namespace

size_t encodeBlocks(const uint8_t *in, size_t size, char *out) {
    return size >= kRegister && processorHas(Feature::kByteShuffle) ? encodeWithShuffle(in, size, out) : 0;
}

size_t decodeBlocks(const char *text, size_t size, uint8_t *out) {
    return size >= kRegister && processorHas(Feature::kByteShuffle) ? decodeWithShuffle(text, size, out) : 0;
}

#elif defined(__aarch64__)

namespace {

constexpr size_t kBlockBytes = 48;
constexpr size_t kBlockChars = 64;

// Value + 1 of each 7-bit character, 0 outside the alphabet, which is also what a look-up beyond the table gives.
struct alignas(16) ValueTable {
    uint8_t entries[128];
};
consteval ValueTable makeValueTable() {
    ValueTable table{};
    for (uint8_t value = 0; value < 64; value++) {
        table.entries[static_cast<uint8_t>(kCharacters[value])] = static_cast<uint8_t>(value + 1);
    }
    return table;
}
constexpr ValueTable kValuesPlus1 = makeValueTable();

}  // namespace

size_t encodeBlocks(const uint8_t *in, size_t size, char *out) {
    const uint8x16x4_t alphabet = vld1q_u8_x4(reinterpret_cast<const uint8_t *>(kCharacters));
    const uint8x16_t six = vdupq_n_u8(63);
    size_t done = 0;
    for (; size - done >= kBlockBytes; done += kBlockBytes, out += kBlockChars) {
        const uint8x16x3_t bytes = vld3q_u8(in + done);
        const uint8x16_t b = vorrq_u8(vshlq_n_u8(bytes.val[0], 4), vshrq_n_u8(bytes.val[1], 4));
        const uint8x16_t c = vorrq_u8(vshlq_n_u8(bytes.val[1], 2), vshrq_n_u8(bytes.val[2], 6));
        const uint8x16x4_t text{{vqtbl4q_u8(alphabet, vshrq_n_u8(bytes.val[0], 2)),
                                 vqtbl4q_u8(alphabet, vandq_u8(b, six)), vqtbl4q_u8(alphabet, vandq_u8(c, six)),
                                 vqtbl4q_u8(alphabet, vandq_u8(bytes.val[2], six))}};
        vst4q_u8(reinterpret_cast<uint8_t *>(out), text);
    }
    return done;
}

size_t decodeBlocks(const char *text, size_t size, uint8_t *out) {
    const uint8x16x4_t lower = vld1q_u8_x4(kValuesPlus1.entries);
    const uint8x16x4_t upper = vld1q_u8_x4(kValuesPlus1.entries + 64);
    const uint8x16_t one = vdupq_n_u8(1);
    size_t done = 0;
    for (; size - done >= kBlockChars; done += kBlockChars, out += kBlockBytes) {
        uint8x16x4_t values = vld4q_u8(reinterpret_cast<const uint8_t *>(text + done));
        uint8x16_t smallest = vdupq_n_u8(255);
        for (uint8x16_t &value : values.val) {
            value = vorrq_u8(vqtbl4q_u8(lower, value), vqtbl4q_u8(upper, vsubq_u8(value, vdupq_n_u8(64))));
            smallest = vminq_u8(smallest, value);
            value = vsubq_u8(value, one);
        }
        if (vminvq_u8(smallest) == 0) {
            break;
        }
        const auto &[a, b, c, d] = values.val;
        const uint8x16x3_t bytes{{vorrq_u8(vshlq_n_u8(a, 2), vshrq_n_u8(b, 4)),
                                  vorrq_u8(vshlq_n_u8(b, 4), vshrq_n_u8(c, 2)), vorrq_u8(vshlq_n_u8(c, 6), d)}};
        vst3q_u8(out, bytes);
    }
    return done;
}

#else

size_t encodeBlocks(const uint8_t *, size_t, char *) {
    return 0;
}

size_t decodeBlocks(const char *, size_t, uint8_t *) {
    return 0;
}

#endif

}  // namespace vos::base64
