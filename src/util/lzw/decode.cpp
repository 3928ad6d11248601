// LZW decoder. A string is copied from where it already stands in the output; only what an earlier call wrote, which is
// the caller's again, is spelled from prefixes and suffixes.
#include "vos/lzw.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/own_names.h"

namespace {

constexpr uint32_t kClearCode = 256;
constexpr uint32_t kEndCode = 257;
constexpr uint32_t kFirstFreeCode = 258;
constexpr uint32_t kRoots = 256;
constexpr uint32_t kNone = UINT32_MAX;
constexpr uint32_t kMinBits = 9;
constexpr uint32_t kMaxBits = 12;
constexpr uint32_t kSlots = 1U << kMaxBits;
constexpr uint32_t kExtraSlot = 1;  // the width grows this many codes before the table is full
constexpr ptrdiff_t kPiece = 8;     // bytes copied at once
constexpr uint32_t kWindow = 8;     // bytes read for one code
constexpr uint64_t kWindowBits = 8 * uint64_t{kWindow};
constexpr uint32_t kNowhere = 0;  // place of a string that stands in no output

// One string of the table, in one word so that it is read and written at once. The suffix is in it too: from two arrays
// of different strides g++ 12 makes an address with a null base at -O1, takes it for the end of the path and the
// function around it for one without effect, and drops its calls.
class String {
  public:
    String() = default;
    String(uint64_t place, uint64_t length, uint64_t prefix, uint64_t suffix = 0)
        : word_{place | length << kLengthAt | prefix << kPrefixAt | suffix << kSuffixAt} {}

    /** Counted through the output of all calls; below Decoder::origin_: written by an earlier one. */
    uint32_t place() const { return static_cast<uint32_t>(word_); }
    uint32_t length() const { return word_ >> kLengthAt & kCodeMask; }
    uint32_t prefix() const { return word_ >> kPrefixAt & kCodeMask; }
    uint8_t suffix() const { return static_cast<uint8_t>(word_ >> kSuffixAt); }
    String withPrefix(uint64_t prefix) const { return String{word_ | prefix << kPrefixAt}; }
    String withSuffix(uint64_t suffix) const { return String{word_ | suffix << kSuffixAt}; }
    String movedBy(uint32_t bytes) const { return String{word_ + bytes}; }
    String movedTo(uint32_t place) const { return String{place, length(), prefix(), suffix()}; }

  private:
    static constexpr uint32_t kLengthAt = 32;  // below 12 bits: each string adds a byte to one that is there
    static constexpr uint32_t kPrefixAt = kLengthAt + kMaxBits;
    static constexpr uint32_t kSuffixAt = kPrefixAt + kMaxBits;
    static constexpr uint32_t kCodeMask = kSlots - 1;

    explicit String(uint64_t word) : word_{word} {}

    uint64_t word_;
};

uint64_t readWindow(const uint8_t *bytes) {
    const auto half = [](const uint8_t *b) {
        return uint32_t{b[0]} << 24 | uint32_t{b[1]} << 16 | uint32_t{b[2]} << 8 | b[3];
    };
    return uint64_t{half(bytes)} << 32 | half(bytes + kWindow / 2);
}

// Copies whole pieces, up to seven bytes more than asked for. The rest of a long string is copied out of line, which
// leaves the registers to the loop that copies mostly short ones.
[[gnu::noinline]] void copyRest(uint8_t *to, const uint8_t *from, ptrdiff_t length) {
    for (ptrdiff_t done = kPiece; done < length; done += kPiece) {
        memcpy(to + done, from + done, kPiece);
    }
}
void copyPieces(uint8_t *to, const uint8_t *from, ptrdiff_t length) {
    memcpy(to, from, kPiece);
    if (length > kPiece) {
        copyRest(to, from, length);
    }
}

// A stretch of codes of one width. A copy of the decoder's fields that no stored byte can alias, for the registers.
template <uint32_t Width>
struct Run {
    const String *table;
    const String *lastSlot;
    const uint8_t *in;
    const uint8_t *out;
    uint8_t *lastNext;
    uint32_t origin;

    String *slot;
    uint64_t bitPosition;
    uint8_t *next;
    String pair;     // what a single byte at `next` begins, without its prefix
    String learned;  // what goes to `slot`

    bool takeCode();

  private:
    static constexpr uint64_t firstCode(uint64_t window) { return window >> (kWindowBits - Width); }
    void takeBytes(uint64_t window);
    bool takeString(uint64_t code);
};

// False when the next code needs more than this.
template <uint32_t Width>
inline bool Run<Width>::takeCode() {
    if (slot >= lastSlot || next > lastNext) {
        return false;
    }
    const uint64_t window = readWindow(in + bitPosition / 8) << bitPosition % 8;
    const uint64_t code = firstCode(window);
    if (code < kRoots) {
        takeBytes(window);
        return true;
    }
    return takeString(code);
}

// One code that is a byte of its own, or two.
template <uint32_t Width>
inline void Run<Width>::takeBytes(uint64_t window) {
    const uint64_t code = firstCode(window);
    const uint64_t second = firstCode(window << Width);
    next[0] = static_cast<uint8_t>(code);
    slot[0] = learned;
    if (second < kRoots && slot + 1 < lastSlot) {
        next[1] = static_cast<uint8_t>(second);
        slot[1] = pair.withPrefix(code);
        learned = pair.movedBy(1).withPrefix(second);
        pair = pair.movedBy(2);
        next += 2;
        slot += 2;
        bitPosition += size_t{2} * Width;
    } else {
        learned = pair.withPrefix(code);
        pair = pair.movedBy(1);
        next++;
        slot++;
        bitPosition += Width;
    }
}

template <uint32_t Width>
inline bool Run<Width>::takeString(uint64_t code) {
    uint32_t length = 0;
    if (table + code < slot) {
        const String string = table[code];
        length = string.length();
        if (string.place() < origin || lastNext - next < length) {  // also clear and end code
            return false;
        }
        copyPieces(next, out + (string.place() - origin), length);
    } else {
        // The string that this very code enters: the old one and its first byte again.
        length = learned.length();
        if (table + code > slot || lastNext - next < length) {
            return false;
        }
        copyPieces(next, out + (learned.place() - origin), length - 1);
        next[length - 1] = next[0];
    }
    *slot++ = learned;
    learned = String{pair.place(), length + 1, static_cast<uint32_t>(code)};
    next += length;
    pair = pair.movedBy(length);
    bitPosition += Width;
    return true;
}

class Decoder : public UtilLzwDecoderState {
  public:
    void init(const uint8_t *in, uint32_t length);
    bool ended() const { return end != UTIL_LZW_OPEN; }
    uint32_t decode(uint8_t *out, uint32_t room);
    void skipInput() { bitPosition_ = inLength_ * 8; }

  private:
    void clear();
    void beginCall(uint8_t *out, uint32_t room);
    void takeHeldBack();
    bool hasCode() const { return inLength_ * 8 - bitPosition_ >= width_; }
    uint32_t peek(uint64_t bits) const;
    bool isAtNarrowEnd() const;
    uint32_t step();
    void decodeString(uint32_t code);
    void learn(uint8_t suffix);
    void widen();
    void spell(uint32_t code, uint8_t *to) const;
    void saveSuffixes();
    bool runFast();
    template <uint32_t Width>
    bool runFast();
    uint32_t placeOf(const uint8_t *p) const { return origin_ + static_cast<uint32_t>(p - out_); }
    const uint8_t *at(uint32_t place) const { return out_ + (place - origin_); }

    const uint8_t *in_;
    uint64_t inLength_;
    uint64_t bitPosition_;
    uint8_t firstByte_;  // of the old code's string
    uint32_t width_;
    uint32_t nextSlot_;
    uint32_t topSlot_;
    uint32_t oldCode_;
    uint32_t oldPlace_;
    uint32_t firstUnsaved_;  // strings from here on have their last byte in the output only

    // The running call's buffer.
    uint8_t *out_;
    uint8_t *next_;
    uint8_t *outEnd_;
    uint32_t origin_;

    // What did not fit the caller's room.
    uint32_t heldStart_;
    uint32_t heldEnd_;
    uint8_t held_[kSlots];

    String table_[kSlots];
};

void Decoder::init(const uint8_t *in, uint32_t length) {
    in_ = in;
    inLength_ = length;
    origin_ = kNowhere + 1;
    for (uint32_t root = 0; root < kRoots; root++) {
        table_[root] = String{kNowhere, 1, 0, root};
    }
    clear();
}

void Decoder::clear() {
    width_ = kMinBits;
    nextSlot_ = kFirstFreeCode;
    topSlot_ = 1U << kMinBits;
    oldCode_ = kNone;
    oldPlace_ = kNowhere;
    firstUnsaved_ = kFirstFreeCode;
}

void Decoder::beginCall(uint8_t *out, uint32_t room) {
    origin_ += static_cast<uint32_t>(next_ - out_);
    if (origin_ > UINT32_MAX - room) {
        for (String &string : table_) {
            string = string.movedTo(kNowhere);
        }
        origin_ = kNowhere + 1;
    }
    out_ = out;
    next_ = out;
    outEnd_ = out + room;
    oldPlace_ = kNowhere;
    takeHeldBack();
}

void Decoder::takeHeldBack() {
    const auto count = static_cast<uint32_t>(std::min<ptrdiff_t>(heldEnd_ - heldStart_, outEnd_ - next_));
    if (count > 0) {
        memcpy(next_, held_ + heldStart_, count);
        next_ += count;
        heldStart_ += count;
    }
}

// The next `bits` bits, zero beyond the input.
uint32_t Decoder::peek(uint64_t bits) const {
    const uint64_t byte = bitPosition_ / 8;
    std::array<uint8_t, kWindow> window{};
    memcpy(window.data(), in_ + byte, std::min<uint64_t>(inLength_ - byte, kWindow));
    return static_cast<uint32_t>(readWindow(window.data()) << bitPosition_ % 8 >> (kWindowBits - bits));
}

// An encoder grows its codes one string later than a decoder does: it writes an end code that comes just then in the
// old width. Nothing else can be all that is left, because a whole stream has room for a wide end code.
bool Decoder::isAtNarrowEnd() const {
    const uint64_t left = inLength_ * 8 - bitPosition_;
    const uint64_t padding = left - (width_ - 1);
    return width_ > kMinBits && nextSlot_ == topSlot_ / 2 - kExtraSlot && left >= width_ - 1 && padding < 8 &&
           peek(left) == kEndCode << padding;
}

// Enters the old code's string, continued by `suffix`.
void Decoder::learn(uint8_t suffix) {
    if (oldCode_ == kNone || nextSlot_ >= topSlot_) {
        return;
    }
    table_[nextSlot_] = String{oldPlace_, table_[oldCode_].length() + 1, oldCode_, suffix};
    nextSlot_++;
    firstUnsaved_ = nextSlot_;
}

void Decoder::widen() {
    if (nextSlot_ >= topSlot_ - kExtraSlot && width_ < kMaxBits) {
        topSlot_ *= 2;
        width_++;
    }
}

void Decoder::spell(uint32_t code, uint8_t *to) const {
    for (uint32_t i = table_[code].length(); i > 0; i--) {
        to[i - 1] = table_[code].suffix();
        code = table_[code].prefix();
    }
}

void Decoder::saveSuffixes() {
    for (; firstUnsaved_ < nextSlot_; firstUnsaved_++) {
        String &string = table_[firstUnsaved_];
        string = string.withSuffix(at(string.place())[string.length() - 1]);
    }
}

void Decoder::decodeString(uint32_t code) {
    saveSuffixes();
    const bool isNew = code == nextSlot_;
    if (isNew) {
        learn(firstByte_);
    }
    const uint32_t length = table_[code].length();
    const bool fits = outEnd_ - next_ >= static_cast<ptrdiff_t>(length);
    uint8_t *const to = fits ? next_ : held_;
    spell(code, to);
    firstByte_ = to[0];
    if (!isNew) {
        learn(firstByte_);
    }
    oldCode_ = code;
    oldPlace_ = fits ? placeOf(next_) : kNowhere;
    if (code >= kFirstFreeCode) {
        table_[code] = table_[code].movedTo(oldPlace_);
    }
    if (fits) {
        next_ += length;
    } else {
        heldStart_ = 0;
        heldEnd_ = length;
        takeHeldBack();
    }
    widen();
}

// The common case, as long as nothing special comes up: strings of this call, room for them, a code width that stays.
// False when the next code is none of these.
template <uint32_t Width>
bool Decoder::runFast() {
    const uint64_t bitsLeft = inLength_ * 8 - bitPosition_;
    if (bitsLeft < kWindowBits || outEnd_ - next_ < kPiece) {
        return false;
    }
    const uint32_t topSlot = topSlot_ - (Width < kMaxBits ? kExtraSlot : 0);
    Run<Width> run{
        .table = table_,
        .lastSlot = table_ + std::min<uint64_t>(topSlot, nextSlot_ + (bitsLeft - kWindowBits) / Width),
        .in = in_,
        .out = out_,
        .lastNext = outEnd_ - kPiece,
        .origin = origin_,
        .slot = table_ + nextSlot_,
        .bitPosition = bitPosition_,
        .next = next_,
        .pair = String{placeOf(next_), 2, 0},
        .learned = String{oldPlace_, table_[oldCode_].length() + 1, oldCode_},
    };
    while (run.takeCode()) {
    }
    const bool progress = run.bitPosition != bitPosition_;
    nextSlot_ = static_cast<uint32_t>(run.slot - table_);
    bitPosition_ = run.bitPosition;
    next_ = run.next;
    oldCode_ = run.learned.prefix();
    oldPlace_ = run.learned.place();
    firstByte_ = *at(oldPlace_);
    widen();
    return progress;
}

bool Decoder::runFast() {
    if (oldPlace_ == kNowhere) {
        return false;
    }
    switch (width_) {
        case 9:
            return runFast<9>();
        case 10:
            return runFast<10>();
        case 11:
            return runFast<11>();
        default:
            return runFast<12>();
    }
}

// One code; how it ended the stream, if it did.
uint32_t Decoder::step() {
    const bool atNarrowEnd = isAtNarrowEnd();
    if (!hasCode() && !atNarrowEnd) {
        VOS_DBG_ERROR("unexpected end of input");
        return UTIL_LZW_CUT_SHORT;
    }
    const uint32_t code = atNarrowEnd ? kEndCode : peek(width_);
    bitPosition_ += width_;
    if (code == kEndCode) {
        VOS_DBG_DEBUG("got end code %d", static_cast<int>(code));
        return UTIL_LZW_END_CODE;
    }
    if (code == kClearCode) {
        VOS_DBG_DEBUG("got clear code %d", static_cast<int>(code));
        clear();
        return UTIL_LZW_OPEN;
    }
    if (code > nextSlot_ || (code == nextSlot_ && oldCode_ == kNone)) {
        VOS_DBG_ERROR("code %d greater than slot %d", static_cast<int>(code), static_cast<int>(nextSlot_));
        return UTIL_LZW_CORRUPT;
    }
    decodeString(code);
    return UTIL_LZW_OPEN;
}

uint32_t Decoder::decode(uint8_t *out, uint32_t room) {
    beginCall(out, room);
    while (next_ != outEnd_ && !ended()) {
        if (!runFast()) {
            end = step();
        }
    }
    saveSuffixes();
    return static_cast<uint32_t>(next_ - out_);
}

}  // namespace

VosRet utilLzw_initDecoder(void **state, const uint8_t *in, uint32_t len) {
    if (state == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    *state = nullptr;
    if (in == nullptr && len > 0) {
        return VOS_RET_BAD_ARG;
    }
    auto s = vos::allocZeroed<Decoder>();
    if (!s) {
        VOS_DBG_ERROR("could not allocate %d bytes for decoder state", static_cast<int>(sizeof(Decoder)));
        return VOS_RET_NO_RESOURCE;
    }
    VOS_DBG_DEBUG("%d bytes allocated for decoder state", static_cast<int>(sizeof(Decoder)));
    s->init(in, len);
    *state = s.release();
    return VOS_RET_OK;
}

int32_t utilLzw_decode(void *state, uint8_t *out, uint32_t len) {
    auto *s = static_cast<Decoder *>(state);
    if (s == nullptr || s->ended()) {
        return -1;
    }
    const uint32_t room = std::min<uint32_t>(len, INT32_MAX);
    const uint32_t written = s->decode(out, room);
    VOS_DBG_DEBUG("about to return, outlen=%d l=%d\n", static_cast<int>(len), static_cast<int>(room - written));
    return static_cast<int32_t>(written);
}

VOS_OPEN_NAME void ff_lzw_decode_tail(void *state) {
    if (state != nullptr) {
        static_cast<Decoder *>(state)->skipInput();
    }
}

void utilLzw_cleanupDecoder(void **state) {
    if (state != nullptr) {
        VOS_FREE(*state);
        *state = nullptr;
    }
}
