// Base64 groups, one at a time where no vector instructions help.
#include "util/codec/base64_groups.h"

#include <algorithm>

namespace vos::base64 {

namespace {

consteval std::array<uint8_t, 256> makeValues() {
    std::array<uint8_t, 256> values{};
    values.fill(kInvalid);
    for (uint8_t value = 0; value < 64; value++) {
        values[static_cast<uint8_t>(kCharacters[value])] = value;
    }
    return values;
}
constexpr std::array<uint8_t, 256> kValues = makeValues();

}  // namespace

uint8_t valueOf(char character) {
    return kValues[static_cast<uint8_t>(character)];
}

char *encode(const uint8_t *in, size_t size, char *out) {
    const size_t done = encodeBlocks(in, size, out);
    out += done / 3 * 4;
    for (size_t i = done; i < size; i += 3, out += 4) {
        const size_t used = std::min<size_t>(size - i, 3);
        const uint32_t bits =
            uint32_t{in[i]} << 16 | (used > 1 ? uint32_t{in[i + 1]} << 8 : 0) | (used > 2 ? uint32_t{in[i + 2]} : 0);
        out[0] = kCharacters[bits >> 18];
        out[1] = kCharacters[bits >> 12 & 63];
        out[2] = used > 1 ? kCharacters[bits >> 6 & 63] : kPad;
        out[3] = used > 2 ? kCharacters[bits & 63] : kPad;
    }
    return out;
}

size_t decodeGroups(const char *text, size_t size, uint8_t *out) {
    size_t done = decodeBlocks(text, size, out);
    for (out += done / 4 * 3; size - done >= 4; done += 4, out += 3) {
        const uint8_t a = valueOf(text[done]);
        const uint8_t b = valueOf(text[done + 1]);
        const uint8_t c = valueOf(text[done + 2]);
        const uint8_t d = valueOf(text[done + 3]);
        if ((a | b | c | d) == kInvalid) {
            break;
        }
        out[0] = static_cast<uint8_t>(a << 2 | b >> 4);
        out[1] = static_cast<uint8_t>(b << 4 | c >> 2);
        out[2] = static_cast<uint8_t>(c << 6 | d);
    }
    return done;
}

}  // namespace vos::base64
