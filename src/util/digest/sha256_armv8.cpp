// The block function of SHA-256 with the SHA2 instructions of Armv8 processors.
#if defined(__aarch64__) && defined(__ARM_NEON)

#include <arm_neon.h>

#include "util/digest/sha256_blocks.h"

namespace vos {

namespace {

// As assembly rather than through intrinsics, which older compilers hide unless the whole file, or the whole firmware,
// is built for a processor that has them.
#ifdef __clang__
#define VOS_ARCH_SHA2 ".arch_extension sha2\n\t"
#else  // older assemblers know them under this name only
#define VOS_ARCH_SHA2 ".arch_extension crypto\n\t"
#endif

inline uint32x4_t hashPart1(uint32x4_t abcd, uint32x4_t efgh, uint32x4_t sum) {
    asm(VOS_ARCH_SHA2 "sha256h %q0, %q1, %2.4s" : "+w"(abcd) : "w"(efgh), "w"(sum));
    return abcd;
}
inline uint32x4_t hashPart2(uint32x4_t efgh, uint32x4_t abcd, uint32x4_t sum) {
    asm(VOS_ARCH_SHA2 "sha256h2 %q0, %q1, %2.4s" : "+w"(efgh) : "w"(abcd), "w"(sum));
    return efgh;
}
// The next four words of the message schedule from the last sixteen, oldest first.
inline uint32x4_t nextWords(uint32x4_t w0, uint32x4_t w1, uint32x4_t w2, uint32x4_t w3) {
    asm(VOS_ARCH_SHA2 "sha256su0 %0.4s, %1.4s" : "+w"(w0) : "w"(w1));
    asm(VOS_ARCH_SHA2 "sha256su1 %0.4s, %1.4s, %2.4s" : "+w"(w0) : "w"(w2), "w"(w3));
    return w0;
}

inline void fourRounds(uint32x4_t &abcd, uint32x4_t &efgh, uint32x4_t words, size_t round) {
    const uint32x4_t sum = vaddq_u32(words, vld1q_u32(kSha256RoundConstants + round));
    const uint32x4_t abcdBefore = abcd;
    abcd = hashPart1(abcd, efgh, sum);
    efgh = hashPart2(efgh, abcdBefore, sum);
}

inline uint32x4_t loadWords(const uint8_t *data) {
    const uint8x16_t bytes = vld1q_u8(data);
    return vreinterpretq_u32_u8(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? vrev32q_u8(bytes) : bytes);
}

}  // namespace

void sha256BlocksAccelerated(uint32_t state[8], const uint8_t *data, size_t blocks) {
    uint32x4_t abcd = vld1q_u32(state);
    uint32x4_t efgh = vld1q_u32(state + 4);
    for (; blocks != 0; blocks--, data += 64) {
        const uint32x4_t abcdBefore = abcd;
        const uint32x4_t efghBefore = efgh;
        uint32x4_t w[4];
#pragma GCC unroll 4
        for (size_t i = 0; i < 4; i++) {
            w[i] = loadWords(data + 16 * i);
            fourRounds(abcd, efgh, w[i], 4 * i);
        }
#pragma GCC unroll 12
        for (size_t i = 4; i < 16; i++) {
            w[i % 4] = nextWords(w[i % 4], w[(i + 1) % 4], w[(i + 2) % 4], w[(i + 3) % 4]);
            fourRounds(abcd, efgh, w[i % 4], 4 * i);
        }
        abcd = vaddq_u32(abcd, abcdBefore);
        efgh = vaddq_u32(efgh, efghBefore);
    }
    vst1q_u32(state, abcd);
    vst1q_u32(state + 4, efgh);
}

}  // namespace vos

#endif
