// Any bytes as an LZW stream: the same output whatever the pieces, and what was decoded encodes and decodes again.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "vos/lzw.h"

namespace {

// A highly compressed input may stand for much output; some of it is enough.
constexpr size_t kMostOutput = 1 << 16;

std::vector<uint8_t> decode(const uint8_t *stream, size_t size, uint32_t piece) {
    void *state = nullptr;
    if (utilLzw_initDecoder(&state, stream, static_cast<uint32_t>(size)) != VOS_RET_OK) {
        abort();
    }
    std::vector<uint8_t> all;
    int32_t written = 0;
    do {
        const auto out = std::make_unique<uint8_t[]>(piece);
        written = utilLzw_decode(state, out.get(), piece);
        all.insert(all.end(), out.get(), out.get() + std::max(written, 0));
    } while (written == static_cast<int32_t>(piece) && all.size() < kMostOutput);
    utilLzw_cleanupDecoder(&state);
    all.resize(std::min(all.size(), kMostOutput));
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::vector<uint8_t> whole = decode(data + 1, size - 1, kMostOutput);
    if (decode(data + 1, size - 1, 1U + data[0]) != whole) {
        abort();
    }
    std::vector<uint8_t> stream(whole.size() * 3 / 2 + 8);
    void *state = nullptr;
    utilLzw_initEncoder(&state, stream.data(), static_cast<int32_t>(stream.size()));
    const int32_t encoded = utilLzw_encode(state, whole.data(), static_cast<uint32_t>(whole.size()));
    const int32_t flushed = utilLzw_flushEncoder(state);
    utilLzw_cleanupEncoder(&state);
    if (encoded < 0 || flushed < 0) {
        abort();
    }
    if (decode(stream.data(), static_cast<size_t>(encoded + flushed), kMostOutput) != whole) {
        abort();
    }
    return 0;
}
