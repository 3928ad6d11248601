// Any bytes as an LZW stream: the same output whatever the pieces, and what was decoded encodes and decodes again.
#include <sanitizer/asan_interface.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

#include "vos/lzw.h"

namespace {

using Bytes = std::vector<uint8_t>;

// The first byte of an input is the size of the pieces, the low bits of the second say how much output is wanted: most
// streams show everything early, and one that fills the table and goes on needs more.
size_t mostOutput(uint8_t choice) {
    const unsigned low = choice % 32U;
    return low == 31 ? size_t{1} << 16 : size_t{1} << (8 + low / 6);
}

void check(bool holds) {
    if (!holds) {
        abort();
    }
}

// Room for one piece and no byte more, out of bounds while another piece is in use. A library that reads what an
// earlier call wrote finds it poisoned.
class Piece {
  public:
    explicit Piece(uint32_t size) : room_(size) { lock(); }
    ~Piece() { ASAN_UNPOISON_MEMORY_REGION(room_.data(), room_.size()); }
    Piece(const Piece &) = delete;
    Piece &operator=(const Piece &) = delete;

    int32_t decode(void *state) {
        ASAN_UNPOISON_MEMORY_REGION(room_.data(), room_.size());
        return utilLzw_decode(state, room_.data(), static_cast<uint32_t>(room_.size()));
    }
    void appendTo(Bytes &all, int32_t count) {
        all.insert(all.end(), room_.begin(), room_.begin() + std::max(count, 0));
        lock();
    }

  private:
    void lock() { ASAN_POISON_MEMORY_REGION(room_.data(), room_.size()); }

    Bytes room_;
};

Bytes decode(std::span<const uint8_t> stream, uint32_t piece, size_t most) {
    void *state = nullptr;
    check(utilLzw_initDecoder(&state, stream.data(), static_cast<uint32_t>(stream.size())) == VOS_RET_OK);
    std::array<Piece, 2> pieces{Piece{piece}, Piece{piece < most ? piece : 0}};
    Bytes all;
    all.reserve(most);
    int32_t written = 0;
    size_t turn = 0;
    do {
        Piece &out = pieces[turn++ % pieces.size()];
        written = out.decode(state);
        out.appendTo(all, written);
    } while (written == static_cast<int32_t>(piece) && all.size() < most);
    const uint32_t end = static_cast<const UtilLzwDecoderState *>(state)->end;
    check(written == static_cast<int32_t>(piece) ? all.size() >= most : end != UTIL_LZW_OPEN);
    utilLzw_cleanupDecoder(&state);
    all.resize(std::min(all.size(), most));
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2) {
        return 0;
    }
    const size_t most = mostOutput(data[1]);
    const std::span input{data + 2, size - 2};
    const Bytes whole = decode(input, static_cast<uint32_t>(most), most);
    check(decode(input, 1U + data[0], most) == whole);

    Bytes stream(whole.size() * 3 / 2 + 8);
    void *state = nullptr;
    utilLzw_initEncoder(&state, stream.data(), static_cast<int32_t>(stream.size()));
    const int32_t encoded = utilLzw_encode(state, whole.data(), static_cast<uint32_t>(whole.size()));
    const int32_t flushed = utilLzw_flushEncoder(state);
    utilLzw_cleanupEncoder(&state);
    check(encoded >= 0 && flushed >= 0);
    check(decode(std::span{stream}.first(static_cast<size_t>(encoded + flushed)), static_cast<uint32_t>(most), most) ==
          whole);
    return 0;
}
