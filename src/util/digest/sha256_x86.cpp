// The block function of SHA-256 with the SHA extensions of x86-64 processors.
#ifdef __x86_64__

#include <immintrin.h>

#include "util/digest/sha256_blocks.h"

#define VOS_TARGET_SHA __attribute__((target("sha,sse4.1")))

namespace vos {

namespace {

// Four rounds; the instruction does two and takes its constants from the low half.
VOS_TARGET_SHA inline void fourRounds(__m128i &abef, __m128i &cdgh, __m128i words, size_t round) {
    const __m128i constants = _mm_load_si128(reinterpret_cast<const __m128i *>(kSha256RoundConstants + round));
    const __m128i sum = _mm_add_epi32(words, constants);
    cdgh = _mm_sha256rnds2_epu32(cdgh, abef, sum);
    abef = _mm_sha256rnds2_epu32(abef, cdgh, _mm_shuffle_epi32(sum, 0x0E));
}

// The next four words of the message schedule from the last sixteen, oldest first.
VOS_TARGET_SHA inline __m128i nextWords(__m128i w0, __m128i w1, __m128i w2, __m128i w3) {
    const __m128i partial = _mm_add_epi32(_mm_sha256msg1_epu32(w0, w1), _mm_alignr_epi8(w3, w2, 4));
    return _mm_sha256msg2_epu32(partial, w3);
}

}  // namespace

VOS_TARGET_SHA void sha256BlocksAccelerated(uint32_t state[8], const uint8_t *data, size_t blocks) {
    const __m128i bigEndian = _mm_set_epi64x(0x0c0d0e0f08090a0b, 0x0405060700010203);
    auto *stored = reinterpret_cast<__m128i *>(state);
    // The instructions want the words in the order A, B, E, F and C, D, G, H, the first one highest.
    const __m128i dcba = _mm_loadu_si128(stored);
    const __m128i hgfe = _mm_loadu_si128(stored + 1);
    const __m128i cdab = _mm_shuffle_epi32(dcba, 0xB1);
    const __m128i efgh = _mm_shuffle_epi32(hgfe, 0x1B);
    __m128i abef = _mm_alignr_epi8(cdab, efgh, 8);
    __m128i cdgh = _mm_blend_epi16(efgh, cdab, 0xF0);
    for (; blocks != 0; blocks--, data += 64) {
        const __m128i abefBefore = abef;
        const __m128i cdghBefore = cdgh;
        __m128i w[4];
#pragma GCC unroll 4
        for (size_t i = 0; i < 4; i++) {
            w[i] = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i *>(data) + i), bigEndian);
            fourRounds(abef, cdgh, w[i], 4 * i);
        }
#pragma GCC unroll 12
        for (size_t i = 4; i < 16; i++) {
            w[i % 4] = nextWords(w[i % 4], w[(i + 1) % 4], w[(i + 2) % 4], w[(i + 3) % 4]);
            fourRounds(abef, cdgh, w[i % 4], 4 * i);
        }
        abef = _mm_add_epi32(abef, abefBefore);
        cdgh = _mm_add_epi32(cdgh, cdghBefore);
    }
    const __m128i feba = _mm_shuffle_epi32(abef, 0x1B);
    const __m128i dchg = _mm_shuffle_epi32(cdgh, 0xB1);
    _mm_storeu_si128(stored, _mm_blend_epi16(feba, dchg, 0xF0));
    _mm_storeu_si128(stored + 1, _mm_alignr_epi8(dchg, feba, 8));
}

}  // namespace vos

#endif
