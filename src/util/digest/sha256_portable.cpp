// The block function of SHA-256 for every processor, FIPS 180-4, 6.2.2.
#include <bit>
#include <cstring>
#include <utility>

#include "util/digest/sha256_blocks.h"

namespace vos {

alignas(16) constexpr uint32_t kSha256RoundConstants[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

namespace {

inline uint32_t word(const uint8_t *block, size_t index) {
    uint32_t value;
    memcpy(&value, block + 4 * index, sizeof value);
    return std::endian::native == std::endian::big ? value : __builtin_bswap32(value);
}

inline uint32_t bigSigma0(uint32_t x) {
    return std::rotr(x, 2) ^ std::rotr(x, 13) ^ std::rotr(x, 22);
}
inline uint32_t bigSigma1(uint32_t x) {
    return std::rotr(x, 6) ^ std::rotr(x, 11) ^ std::rotr(x, 25);
}
inline uint32_t smallSigma0(uint32_t x) {
    return std::rotr(x, 7) ^ std::rotr(x, 18) ^ (x >> 3);
}
inline uint32_t smallSigma1(uint32_t x) {
    return std::rotr(x, 17) ^ std::rotr(x, 19) ^ (x >> 10);
}

// Round `I` of 64, modulo 8: the eight words change their roles instead of their places.
template <size_t I>
inline __attribute__((always_inline)) void round(uint32_t (&s)[8], uint32_t scheduled) {
    const uint32_t a = s[(0 - I) % 8];
    const uint32_t b = s[(1 - I) % 8];
    const uint32_t c = s[(2 - I) % 8];
    const uint32_t e = s[(4 - I) % 8];
    const uint32_t f = s[(5 - I) % 8];
    const uint32_t g = s[(6 - I) % 8];
    const uint32_t t = s[(7 - I) % 8] + scheduled + bigSigma1(e) + (g ^ (e & (f ^ g)));
    s[(3 - I) % 8] += t;
    s[(7 - I) % 8] = t + bigSigma0(a) + ((a & b) ^ (c & (a ^ b)));
}

template <size_t... I, typename Schedule>
inline __attribute__((always_inline)) void sixteenRounds(std::index_sequence<I...>, uint32_t (&s)[8],
                                                         Schedule schedule) {
    (round<I>(s, schedule(I)), ...);
}

}  // namespace

void sha256BlocksPortable(uint32_t state[8], const uint8_t *data, size_t blocks) {
    constexpr auto kSixteen = std::make_index_sequence<16>{};
    uint32_t s[8];
    memcpy(s, state, sizeof s);
    for (; blocks != 0; blocks--, data += 64) {
        uint32_t before[8];
        memcpy(before, s, sizeof s);
        uint32_t w[16];
        sixteenRounds(kSixteen, s, [&](size_t i) {
            w[i] = word(data, i);
            return w[i] + kSha256RoundConstants[i];
        });
        for (size_t t = 16; t < 64; t += 16) {
            const uint32_t *constants = kSha256RoundConstants + t;
            sixteenRounds(
                kSixteen, s, [&](size_t i) __attribute__((always_inline)) {
                    w[i] += smallSigma0(w[(i + 1) % 16]) + w[(i + 9) % 16] + smallSigma1(w[(i + 14) % 16]);
                    return w[i] + constants[i];
                });
        }
        for (size_t i = 0; i < 8; i++) {
            s[i] += before[i];
        }
    }
    memcpy(state, s, sizeof s);
}

}  // namespace vos
