// LZW encoder: a hash table of strings and a bit writer that never leaves its buffer.
#include "vos/lzw.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "internal/dbg.h"
#include "internal/guards.h"

// Reports under the name that log scanners know for this check.
#define LZW_ASSERT(expression)                                               \
    do {                                                                     \
        if (!(expression)) {                                                 \
            utilAst_assertFunc("util_lzw_encode", __LINE__, #expression, 0); \
        }                                                                    \
    } while (0)

namespace {

constexpr int32_t kClearCode = 256;
constexpr int32_t kEndCode = 257;
constexpr int32_t kFirstFreeCode = 258;
constexpr int32_t kMinBits = 9;
constexpr int32_t kMaxBits = 12;
constexpr int32_t kHashSize = 16411;
constexpr int32_t kNoCode = -1;

// Bits go out most significant first. A value that no longer fits is dropped with everything behind it, so what is in
// the buffer is always the beginning of the stream.
struct BitWriter {
    uint8_t *position;
    int64_t bitsLeft;  // of the buffer, those held here taken off
    uint64_t accumulator;
    int32_t held;  // bits in the accumulator, below 32 between two values
    bool overflowed;

    void putBits(int32_t n, uint32_t value) {
        LZW_ASSERT(n == 32 || value < (1U << n));
        if (bitsLeft < n || overflowed) {
            overflowed = true;
            return;
        }
        bitsLeft -= n;
        accumulator = accumulator << n | value;
        held += n;
        if (held >= 32) {
            held -= 32;
            storeTop(accumulator >> held << 32, 4);
            position += 4;
        }
    }

    // Whole bytes that are still held here are stored too: callers hand them on as soon as they are reported.
    int32_t storeWholeBytes() const {
        storeTop(accumulator << (64 - held) % 64, held / 8);
        return held / 8;
    }

    void padToByte() {
        accumulator <<= (8 - held % 8) % 8;
        held = (held + 7) / 8 * 8;
        position += storeWholeBytes();
        bitsLeft -= bitsLeft % 8;
        held = 0;
    }

  private:
    void storeTop(uint64_t bits, int32_t count) const {
        for (int32_t i = 0; i < count; i++) {
            position[i] = static_cast<uint8_t>(bits >> (56 - 8 * i));
        }
    }
};

// One string in a word: prefix code 12 bits, suffix 8 bits, its own code 12 bits. Codes of strings are never 0, so 0 is
// a free entry. The 256 single bytes are their own codes and need no entries.
using Entry = uint32_t;

struct Encoder {
    BitWriter writer;
    uint8_t *start;
    int32_t size;
    int32_t reported;
    int32_t tableSize;  // the next code to assign
    int32_t bits;
    int32_t maxbits;
    int32_t lastCode;
    Entry table[kHashSize];
};

int32_t hash(int32_t prefix, uint8_t suffix) {
    int32_t head = prefix ^ (suffix << 6);
    if (head >= kHashSize) {
        head -= kHashSize;
    }
    LZW_ASSERT(head >= 0 && head < 16411);
    return head;
}

// The place of a string, or the free one where it belongs.
Entry *findString(Encoder *s, int32_t prefix, uint8_t suffix) {
    const Entry key = static_cast<Entry>(prefix) << 8 | suffix;
    int32_t head = hash(prefix, suffix);
    const int32_t offset = head == 0 ? 1 : kHashSize - head;
    while (s->table[head] != 0 && s->table[head] >> kMaxBits != key) {
        head -= offset;
        if (head < 0) {
            head += kHashSize;
        }
    }
    return &s->table[head];
}

void writeCode(const Encoder *s, BitWriter &writer, int32_t c) {
    // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): never more than kMaxBits
    LZW_ASSERT(0 <= c && c < 1 << s->bits);
    writer.putBits(s->bits, static_cast<uint32_t>(c));
}

void clearTable(Encoder *s, BitWriter &writer) {
    writeCode(s, writer, kClearCode);
    s->bits = kMinBits;
    memset(s->table, 0, sizeof s->table);
    s->tableSize = kFirstFreeCode;
}

void addString(Encoder *s, BitWriter &writer, Entry *place, int32_t prefix, uint8_t suffix) {
    writeCode(s, writer, prefix);
    *place = (static_cast<Entry>(prefix) << 8 | suffix) << kMaxBits | static_cast<Entry>(s->tableSize);
    s->tableSize++;
    // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): never more than kMaxBits
    if (s->tableSize >= 1 << s->bits) {
        s->bits++;
    }
    if (s->tableSize >= (1 << s->maxbits) - 1) {
        clearTable(s, writer);
    }
}

int32_t newlyCompleted(Encoder *s) {
    const auto stored = static_cast<int32_t>(s->writer.position - s->start);
    const int32_t bytes = stored + s->writer.storeWholeBytes();
    const int32_t fresh = bytes - s->reported;
    s->reported = bytes;
    return fresh;
}

}  // namespace

VosRet utilLzw_initEncoder(void **state, uint8_t *out, int32_t outSize) {
    if (state == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    *state = nullptr;
    if (out == nullptr && outSize > 0) {
        return VOS_RET_BAD_ARG;
    }
    auto s = vos::allocZeroed<Encoder>();
    if (!s) {
        VOS_DBG_ERROR("could not allocate %d bytes for encoder state", static_cast<int>(sizeof(Encoder)));
        return VOS_RET_NO_RESOURCE;
    }
    VOS_DBG_DEBUG("%d bytes allocated for encoder state", static_cast<int>(sizeof(Encoder)));
    s->size = std::max(outSize, 0);
    s->start = out;
    s->writer.position = out;
    s->writer.bitsLeft = int64_t{s->size} * 8;
    s->bits = kMinBits;
    s->maxbits = kMaxBits;
    s->lastCode = kNoCode;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wtautological-compare"
    LZW_ASSERT(9 <= s->maxbits && s->maxbits <= s->maxbits);  // always true, known as such
#pragma GCC diagnostic pop
    *state = s.release();
    return VOS_RET_OK;
}

int32_t utilLzw_encode(void *state, const uint8_t *in, uint32_t len) {
    auto *s = static_cast<Encoder *>(state);
    if (s == nullptr) {
        return -1;
    }
    const auto room = static_cast<uint32_t>(s->size - s->reported);
    if (len * 3U > room * 2U + 5U) {
        VOS_DBG_ERROR("size check failed, insize=%d (*3) outsize=%d (*2)", static_cast<int>(len),
                      static_cast<int>(room));
        return -1;
    }
    // Copies that no stored byte can alias stay in registers.
    BitWriter writer = s->writer;
    int32_t last = s->lastCode;
    if (last == kNoCode) {
        clearTable(s, writer);
        if (len > 0) {
            last = *in++;
            len--;
        }
    }
    for (const uint8_t b : std::span{in, len}) {
        Entry *place = findString(s, last, b);
        if (*place == 0) {
            addString(s, writer, place, last, b);
            last = b;
        } else {
            last = static_cast<int32_t>(*place & ((1U << kMaxBits) - 1));
        }
    }
    s->lastCode = last;
    s->writer = writer;
    return newlyCompleted(s);
}

int32_t utilLzw_flushEncoder(void *state) {
    auto *s = static_cast<Encoder *>(state);
    if (s == nullptr) {
        return -1;
    }
    if (s->lastCode != kNoCode) {
        writeCode(s, s->writer, s->lastCode);
        s->lastCode = kNoCode;
    }
    writeCode(s, s->writer, kEndCode);
    s->writer.padToByte();
    const int32_t completed = newlyCompleted(s);
    return s->writer.overflowed ? -1 : completed;
}

void utilLzw_cleanupEncoder(void **state) {
    if (state != nullptr) {
        VOS_FREE(*state);
        *state = nullptr;
    }
}
