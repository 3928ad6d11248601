// MD5, RFC 1321.
#include <bit>
#include <cstring>

#include "internal/block_buffer.h"
#include "vos/digest.h"

namespace {

using vos::kDigestBlockSize;

constexpr uint32_t kInitialState[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};

inline uint32_t word(const uint8_t *block, int index) {
    uint32_t value;
    memcpy(&value, block + 4 * ptrdiff_t{index}, sizeof value);
    return std::endian::native == std::endian::little ? value : __builtin_bswap32(value);
}

// Every step waits for the one before it, so the chain from `b`, the result of that step, to the end of a step is what
// the digest costs. The round functions below let `b` enter as late as it can, and no compiler may undo that: Clang
// would reorder the terms of the sums, GCC keeps them.
inline __attribute__((always_inline)) void keepTerm([[maybe_unused]] uint32_t &sum) {
#ifdef __clang__
    asm("" : "+r"(sum));
#endif
}

struct F {
    static void step(uint32_t &a, uint32_t b, uint32_t c, uint32_t d) { a += d ^ (b & (c ^ d)); }
};
struct G {
    static void step(uint32_t &a, uint32_t b, uint32_t c, uint32_t d) {
        a += c & ~d;
        keepTerm(a);
        a += b & d;  // no bit is set in both terms
    }
};
struct H {
    static void step(uint32_t &a, uint32_t b, uint32_t c, uint32_t d) { a += b ^ (c ^ d); }
};
struct I {
    static void step(uint32_t &a, uint32_t b, uint32_t c, uint32_t d) { a += c ^ (b | ~d); }
};

template <typename Round>
inline __attribute__((always_inline)) void step(uint32_t &a, uint32_t b, uint32_t c, uint32_t d, uint32_t x, int shift,
                                                uint32_t constant) {
    a += x + constant;
    keepTerm(a);
    Round::step(a, b, c, d);
    a = std::rotl(a, shift) + b;
}

// Four steps with the four words in turn.
template <typename Round>
inline __attribute__((always_inline)) void fourSteps(uint32_t (&s)[4], const uint32_t (&x)[4], const int (&shift)[4],
                                                     const uint32_t (&constant)[4]) {
    step<Round>(s[0], s[1], s[2], s[3], x[0], shift[0], constant[0]);
    step<Round>(s[3], s[0], s[1], s[2], x[1], shift[1], constant[1]);
    step<Round>(s[2], s[3], s[0], s[1], x[2], shift[2], constant[2]);
    step<Round>(s[1], s[2], s[3], s[0], x[3], shift[3], constant[3]);
}

// One round of 16 steps: the words of the block are taken from `First` on in strides of `Stride`.
template <typename Round, int First, int Stride>
inline __attribute__((always_inline)) void round(uint32_t (&s)[4], const uint8_t *block, const int (&shift)[4],
                                                 const uint32_t (&constant)[16]) {
#pragma GCC unroll 4
    for (int i = 0; i < 16; i += 4) {
        const uint32_t x[4] = {word(block, (First + Stride * i) % 16), word(block, (First + Stride * (i + 1)) % 16),
                               word(block, (First + Stride * (i + 2)) % 16),
                               word(block, (First + Stride * (i + 3)) % 16)};
        fourSteps<Round>(s, x, shift, {constant[i], constant[i + 1], constant[i + 2], constant[i + 3]});
    }
}

constexpr int kShiftF[4] = {7, 12, 17, 22};
constexpr int kShiftG[4] = {5, 9, 14, 20};
constexpr int kShiftH[4] = {4, 11, 16, 23};
constexpr int kShiftI[4] = {6, 10, 15, 21};

// floor(2^32 * abs(sin(i))) for i from 1 on.
constexpr uint32_t kSineF[16] = {0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a,
                                 0xa8304613, 0xfd469501, 0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be,
                                 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821};
constexpr uint32_t kSineG[16] = {0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453,
                                 0xd8a1e681, 0xe7d3fbc8, 0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed,
                                 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a};
constexpr uint32_t kSineH[16] = {0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9,
                                 0xf6bb4b60, 0xbebfbc70, 0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05,
                                 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665};
constexpr uint32_t kSineI[16] = {0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92,
                                 0xffeff47d, 0x85845dd1, 0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1,
                                 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

void transformBlocks(uint32_t state[4], const uint8_t *data, size_t blocks) {
    uint32_t s[4] = {state[0], state[1], state[2], state[3]};
    for (; blocks != 0; blocks--, data += kDigestBlockSize) {
        const uint32_t before[4] = {s[0], s[1], s[2], s[3]};
        round<F, 0, 1>(s, data, kShiftF, kSineF);
        round<G, 1, 5>(s, data, kShiftG, kSineG);
        round<H, 5, 3>(s, data, kShiftH, kSineH);
        round<I, 0, 7>(s, data, kShiftI, kSineI);
        for (int i = 0; i < 4; i++) {
            s[i] += before[i];
        }
    }
    memcpy(state, s, sizeof s);
}

size_t fillOf(const UtilMd5Context *context) {
    return static_cast<size_t>(context->bitCount / 8 % kDigestBlockSize);
}

}  // namespace

void UTIL_md5Init(UtilMd5Context *context) {
    if (context != nullptr) {
        context->bitCount = 0;
        memcpy(context->state, kInitialState, sizeof kInitialState);
    }
}

void UTIL_md5Update(UtilMd5Context *context, const uint8_t *data, uint32_t len) {
    if (context == nullptr || data == nullptr) {
        return;
    }
    vos::feedBlocks(context->block, fillOf(context), data, len,
                    [context](const uint8_t *blocks, size_t count) { transformBlocks(context->state, blocks, count); });
    context->bitCount += uint64_t{len} * 8;
}

void UTIL_md5Final(uint8_t digest[UTIL_MD5_DIGEST_SIZE], UtilMd5Context *context) {
    if (context == nullptr || digest == nullptr) {
        return;
    }
    uint8_t length[vos::kDigestLengthSize];
    vos::storeLittle(length, context->bitCount);
    vos::feedPadding(context->block, fillOf(context), length, [context](const uint8_t *blocks, size_t count) {
        transformBlocks(context->state, blocks, count);
    });
    for (size_t i = 0; i < 4; i++) {
        vos::storeLittle(digest + 4 * i, context->state[i]);
    }
    explicit_bzero(context, sizeof *context);
}
