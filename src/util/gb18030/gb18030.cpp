// GB18030 to and from UTF-16 units, and whole texts to and from UTF-8.
#include "vos/gb18030.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "internal/dbg.h"
#include "internal/own_names.h"
#include "util/gb18030/tables.h"
#include "util/utf8/row.h"

namespace {

constexpr uint8_t kFirstLead = 0x81;
constexpr uint8_t kLastLead = 0xFE;
constexpr uint32_t kLeadStep = 12600;  // four-byte codes under one first byte
constexpr uint32_t kHangul = 0xAC00;
constexpr uint32_t kHangulLast = 0xD7A3;
constexpr uint32_t kHangulOffset = 21827;  // unit - linear index
constexpr uint32_t kTable1Gap = 11300;     // of U+D7A4 and up in the first reverse table
constexpr uint32_t kTable2Base = 25277;    // linear index of the second reverse table's entry 0
constexpr uint32_t kPlane2 = 0x20000;
constexpr uint32_t kPlane2Offset = 2536;       // of U+20000 under the first byte 0x95
constexpr uint32_t kSupplementaryLead = 0x90;  // first byte of U+10000
constexpr uint32_t kSupplementary = 0x10000;
constexpr uint32_t kNoUnit = 0xFFFF;

// The low half of a character whose high half has been delivered, and the two bytes that must come with it.
constinit struct {
    bool pending = false;
    uint16_t bytes = kNoUnit;
    uint32_t low = kNoUnit;
} g_decoder;

// The high half of a character whose low half has not come yet.
constinit struct {
    bool pending = false;
    uint32_t high = 0;
} g_encoder;

uint16_t pairOf(const uint8_t *bytes) {
    return static_cast<uint16_t>(bytes[0] << 8 | bytes[1]);
}

// Stretches of the four-byte codes: straight to Unicode or through the table.
struct Stretch {
    uint32_t last;
    bool fromTable;
    int32_t offset;  // table index or unit minus linear index
};
constexpr Stretch kStretches[] = {
    {22204, true, 0}, {33376, false, 21827}, {33549, true, -11172}, {37844, false, 25943}, {39418, true, -15467}};

int decodeFourBytes(const uint8_t *bytes, uint32_t *unit) {
    const uint32_t low = (bytes[1] - 0x30u) * 1260 + (bytes[2] - 0x81u) * 10 + bytes[3] - 0x30u;
    if (bytes[0] >= 0x95 && bytes[0] <= 0x9A) {
        const uint32_t offset = (bytes[0] - 0x95u) * kLeadStep + low - kPlane2Offset;
        if (offset >= 0x10000) {
            return -1;
        }
        const uint32_t character = kPlane2 + offset - kSupplementary;
        g_decoder = {true, pairOf(bytes + 2), 0xDC00 + (character & 0x3FF)};
        *unit = 0xD800 + (character >> 10);
        return 2;
    }
    const uint32_t linear = (bytes[0] - 0x81u) * kLeadStep + low;
    for (const Stretch &stretch : kStretches) {
        if (linear <= stretch.last) {
            const auto value = static_cast<uint32_t>(static_cast<int32_t>(linear) + stretch.offset);
            *unit = stretch.fromTable ? vos::__fourbyte_to_ucs[value] : value;
            return *unit == 0 ? -1 : 4;
        }
    }
    return -1;
}

int decodeCharacter(const uint8_t *bytes, size_t len, uint32_t *unit) {
    if (bytes[0] < 0x80) {
        *unit = bytes[0];
        return 1;
    }
    if (bytes[0] < kFirstLead || bytes[0] > kLastLead || len < 2 || bytes[1] < 0x30) {
        return -1;
    }
    if (bytes[1] >= 0x40) {
        const size_t index = (bytes[0] - size_t{kFirstLead}) * 192 + bytes[1] - 0x40u;
        *unit = index < vos::kTwoByteCodes ? vos::__twobyte_to_ucs[index] : 0;
        return *unit == 0 ? -1 : 2;
    }
    const bool fourBytes = bytes[1] <= 0x39 && len >= 4 && bytes[2] >= kFirstLead && bytes[2] <= kLastLead &&
                           bytes[3] >= 0x30 && bytes[3] <= 0x39;
    return fourBytes ? decodeFourBytes(bytes, unit) : -1;
}

int writeFourBytes(uint32_t lead, uint32_t linear, uint8_t *out, size_t room) {
    if (room <= 3) {
        return -1;
    }
    out[0] = static_cast<uint8_t>(lead + linear / kLeadStep);
    out[1] = static_cast<uint8_t>(0x30 + linear / 1260 % 10);
    out[2] = static_cast<uint8_t>(0x81 + linear / 10 % 126);
    out[3] = static_cast<uint8_t>(0x30 + linear % 10);
    return 4;
}

int writeEntry(const uint8_t (&entry)[2], int32_t base, uint8_t *out, size_t room) {
    if (entry[0] == 0) {
        return -1;
    }
    if (entry[0] < kFirstLead) {
        return writeFourBytes(kFirstLead, static_cast<uint32_t>((entry[0] << 8 | entry[1]) + base), out, room);
    }
    const size_t length = entry[1] == 0 ? 1 : 2;
    if (room < length) {
        return -1;
    }
    memcpy(out, entry, length);
    return static_cast<int>(length);
}

// Any unit of which no other half is pending or wanted.
int encodeUnit(uint32_t unit, uint8_t *out, size_t room) {
    if (unit < 0x80) {
        if (room < 1) {
            return -1;
        }
        *out = static_cast<uint8_t>(unit);
        return 1;
    }
    if (unit < kHangul) {
        return writeEntry(vos::__ucs_to_gb18030_tab1[unit - 0x80], -0x2000, out, room);
    }
    if (unit <= kHangulLast) {
        return writeFourBytes(kFirstLead, unit - kHangulOffset, out, room);
    }
    if (unit <= 0xD7FF) {
        return writeEntry(vos::__ucs_to_gb18030_tab1[unit - kTable1Gap], -0x2000, out, room);
    }
    return unit >= 0xE000 && unit <= 0xFFFF
               ? writeEntry(vos::__ucs_to_gb18030_tab2[unit - 0xE000], int32_t{kTable2Base}, out, room)
               : -1;
}

int encodePair(uint32_t high, uint32_t low, uint8_t *out, size_t room) {
    const uint32_t character = ((high & 0x3FF) << 10 | (low & 0x3FF)) + kSupplementary;
    return writeFourBytes(kSupplementaryLead, character - kSupplementary, out, room);
}

int decodeNext(const uint8_t *bytes, size_t len, uint32_t *unit) {
    if (!g_decoder.pending) {
        return len < 1 ? -1 : decodeCharacter(bytes, len, unit);
    }
    const auto expected = g_decoder;
    g_decoder = {};
    if (len < 2) {
        return -1;
    }
    if (pairOf(bytes) != expected.bytes) {
        return 0;
    }
    *unit = expected.low;
    return 2;
}

int encodeNext(uint32_t unit, uint8_t *out, size_t room) {
    if (g_encoder.pending) {
        g_encoder.pending = false;
        return unit >= 0xDC00 && unit <= 0xDFFF ? encodePair(g_encoder.high, unit, out, room)
                                                : encodeUnit(unit, out, room);
    }
    if (unit >= 0xD840 && unit <= 0xDBFF) {
        g_encoder = {true, unit};
        return 0;
    }
    return encodeUnit(unit, out, room);
}

bool eightAscii(const uint8_t *at, const uint8_t *end) {
    uint64_t word = 0;
    if (end - at < 8) {
        return false;
    }
    memcpy(&word, at, sizeof word);
    return (word & 0x8080808080808080) == 0;
}

// Copies ASCII as long as it comes.
const uint8_t *copyAscii(const uint8_t *at, const uint8_t *end, uint8_t **out) {
    uint8_t *to = *out;
    for (; eightAscii(at, end); at += 8, to += 8) {
        memcpy(to, at, 8);
    }
    for (; at < end && *at < 0x80; at++) {
        *to++ = *at;
    }
    *out = to;
    return at;
}

// Most of a Chinese text: two-byte codes of characters that take three bytes in UTF-8, and ASCII between them. Stops in
// front of anything else.
const uint8_t *encodeCommon(const uint8_t *at, const uint8_t *end, uint8_t **out) {
    uint8_t *to = *out;
    for (; end - at >= 2; at += 2) {
        for (; at < end && *at < 0x80; at++) {
            *to++ = *at;
        }
        if (end - at < 2 || at[0] < kFirstLead || at[0] > kLastLead || at[1] < 0x40) {
            break;
        }
        const size_t index = (at[0] - size_t{kFirstLead}) * 192 + at[1] - 0x40u;
        const uint32_t unit = index < vos::kTwoByteCodes ? vos::__twobyte_to_ucs[index] : 0;
        if (unit < 0x800) {
            break;
        }
        to[0] = static_cast<uint8_t>(0xE0 | unit >> 12);
        to[1] = static_cast<uint8_t>(0x80 | (unit >> 6 & 0x3F));
        to[2] = static_cast<uint8_t>(0x80 | (unit & 0x3F));
        to += 3;
    }
    *out = to;
    return at;
}

// The same way back.
const uint8_t *decodeCommon(const uint8_t *at, const uint8_t *end, uint8_t **out) {
    uint8_t *to = *out;
    for (; end - at >= 3; at += 3) {
        for (; at < end && *at < 0x80; at++) {
            *to++ = *at;
        }
        if (end - at < 3) {
            break;
        }
        const uint32_t sequence = uint32_t{at[0]} << 16 | uint32_t{at[1]} << 8 | at[2];
        const uint32_t unit = (sequence & 0x0F0000) >> 4 | (sequence & 0x3F00) >> 2 | (sequence & 0x3F);
        if ((sequence & 0xF0C0C0) != 0xE08080 || unit - 0x800 >= kHangul - 0x800) {
            break;
        }
        const uint8_t *entry = vos::__ucs_to_gb18030_tab1[unit - 0x80];
        if (entry[0] < kFirstLead || entry[1] == 0) {
            break;
        }
        memcpy(to, entry, 2);
        to += 2;
    }
    *out = to;
    return at;
}

// A text being written; room is made for a stretch at a time, since few texts grow.
class Output {
  public:
    Output() = default;
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;
    ~Output() { free(begin_); }

    uint8_t *next = nullptr;

    bool reserve(size_t wanted, size_t expected) {
        const auto used = static_cast<size_t>(next - begin_);
        if (begin_ != nullptr && capacity_ - used >= wanted) {
            return true;
        }
        const size_t capacity = used + std::max(wanted, expected);
        auto *larger = static_cast<uint8_t *>(realloc(begin_, capacity));
        if (larger == nullptr) {
            VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
            return false;
        }
        begin_ = larger;
        next = larger + used;
        capacity_ = capacity;
        return true;
    }
    /** Hands the text out in a block of its own size. */
    char *finish() {
        *next++ = '\0';
        // NOLINTNEXTLINE(clang-analyzer-optin.portability.UnixAPI): at least the terminator is there
        void *exact = realloc(begin_, static_cast<size_t>(next - begin_));
        void *text = exact != nullptr ? exact : begin_;
        begin_ = nullptr;
        return static_cast<char *>(text);
    }

  private:
    uint8_t *begin_ = nullptr;
    size_t capacity_ = 0;
};

constexpr size_t kStretchSize = 4096;  // of input
constexpr size_t kGrowth = 2;          // bytes that one byte may become at most

// Converts `text`: `common` takes what it can of a stretch, `convert(bytes, left, out)` the character where that ended;
// it gives the bytes used, below 1 at the end of what can be converted.
template <typename Convert>
char *convertText(const char *text, bool pendingHalf,
                  const uint8_t *(*common)(const uint8_t *, const uint8_t *, uint8_t **), Convert convert) {
    if (text == nullptr) {
        return nullptr;
    }
    const auto *at = reinterpret_cast<const uint8_t *>(text);
    const uint8_t *end = at + strlen(text);
    Output out;
    bool plain = !pendingHalf;  // a half from the text before wants the first character
    do {
        const uint8_t *stretchEnd = at + std::min(static_cast<size_t>(end - at), kStretchSize);
        const auto left = static_cast<size_t>(end - at);
        if (!out.reserve(kGrowth * (kStretchSize + 4) + 1, left + left / 8)) {
            return vos::own::String_Copy(text, -1);
        }
        while (at < stretchEnd) {
            if (plain) {
                at = common(copyAscii(at, stretchEnd, &out.next), stretchEnd, &out.next);
                if (at >= stretchEnd) {
                    break;
                }
            }
            const int used = convert(at, static_cast<size_t>(end - at), &out.next);
            if (used < 1) {
                return out.finish();
            }
            at += used;
            plain = !g_decoder.pending && !g_encoder.pending;
        }
    } while (at < end);
    return out.finish();
}

}  // namespace

VOS_OPEN_NAME int char2uni(const uint8_t *bytes, int32_t len, uint32_t *unit) {
    if (bytes == nullptr || unit == nullptr) {
        return -1;
    }
    return decodeNext(bytes, static_cast<size_t>(std::max(len, 0)), unit);
}

VOS_OPEN_NAME int uni2char(uint32_t unit, uint8_t *out, int32_t room) {
    if (out == nullptr) {
        return -1;
    }
    return encodeNext(unit, out, static_cast<size_t>(std::max(room, 0)));
}

char *vos::own::String_Copy(const char *text, int32_t len) {
    if (text == nullptr) {
        return nullptr;
    }
    const size_t length = len < 0 ? strlen(text) : strnlen(text, static_cast<size_t>(len));
    auto *copy = static_cast<char *>(malloc(length + 1));
    if (copy == nullptr) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return nullptr;
    }
    memcpy(copy, text, length);
    copy[length] = '\0';
    return copy;
}

char *vos::own::EncodeToUTF8(const char *gb) {
    return convertText(gb, g_decoder.pending, encodeCommon, [](const uint8_t *bytes, size_t left, uint8_t **out) {
        uint32_t unit = 0;
        const int used = decodeNext(bytes, left, &unit);
        if (used > 0) {
            *out += vos::encodeUtf8(*out, unit, 4);
        }
        return used;
    });
}

VOS_OPEN_NAME char *DecodeFromUTF8(const char *utf8) {
    const size_t room = utf8 == nullptr ? 0 : strlen(utf8);
    return convertText(utf8, g_encoder.pending, decodeCommon, [room](const uint8_t *bytes, size_t left, uint8_t **out) {
        uint32_t unit = 0;
        const int used = vos::decodeUtf8(&unit, bytes, left);
        if (used < 1) {
            return 1;  // a byte that begins no sequence is skipped
        }
        // Contract: the whole text's length is the room of each character.
        const int written = encodeNext(unit, *out, room);
        *out += std::max(written, 0);
        return written < 1 ? 0 : used;
    });
}

char *UTIL_strConvToUTF8(const char *s) {
    if (s == nullptr) {
        return nullptr;
    }
    if (!UTIL_strIsUTF8(s)) {
        VOS_DBG_DEBUG("HostName is not UTF8 encode! Encode to UTF8.");
        return vos::own::EncodeToUTF8(s);
    }
    char *copy = vos::own::String_Copy(s, -1);
    if (copy == nullptr) {
        VOS_DBG_ERROR("Malloc error, no memory can be use!");
    }
    return copy;
}

VOS_OPEN_NAME char *String_Copy(const char *text, int32_t len) {
    return vos::own::String_Copy(text, len);
}

VOS_OPEN_NAME char *EncodeToUTF8(const char *gb) {
    return vos::own::EncodeToUTF8(gb);
}
