// GB18030 to and from UTF-16 units, and whole texts to and from UTF-8.
#include "vos/gb18030.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "util/gb18030_tables.h"
#include "util/utf8_row.h"
#include "vos/dbg.h"

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

// How many bytes at the front are ASCII and no NUL.
size_t asciiRun(const uint8_t *bytes, const uint8_t *end) {
    const uint8_t *at = bytes;
    for (; end - at >= 8; at += 8) {
        uint64_t word;
        memcpy(&word, at, sizeof word);
        if ((word & 0x8080808080808080) != 0) {
            break;
        }
    }
    return static_cast<size_t>(std::find_if(at, end, [](uint8_t byte) { return byte >= 0x80; }) - bytes);
}

// Converts `text` with `convert(bytes, left, out)`, which gives bytes used (below 1: the end) and moves `out` on. The
// result is as large as it needs to be.
template <typename Convert>
char *convertText(const char *text, bool pendingHalf, Convert convert) {
    if (text == nullptr) {
        return nullptr;
    }
    const size_t length = strlen(text);
    // No character grows to more than four bytes for each of its own.
    auto *buffer = length > SIZE_MAX / 8 ? nullptr : static_cast<uint8_t *>(malloc(4 * length + 4));
    if (buffer == nullptr) {
        return String_Copy(text, -1);
    }
    const auto *at = reinterpret_cast<const uint8_t *>(text);
    const uint8_t *end = at + length;
    uint8_t *out = buffer;
    bool plain = !pendingHalf;  // a half from the text before wants the first character
    while (at < end) {
        if (plain) {
            const size_t run = asciiRun(at, end);
            memcpy(out, at, run);
            out += run;
            at += run;
            if (at == end) {
                break;
            }
        }
        const int used = convert(at, static_cast<size_t>(end - at), &out);
        if (used < 1) {
            break;
        }
        at += used;
        plain = at < end && *at < 0x80 && !g_decoder.pending && !g_encoder.pending;
    }
    const auto written = static_cast<size_t>(out - buffer);
    buffer[written] = '\0';
    auto *exact = static_cast<char *>(realloc(buffer, written + 1));
    return exact != nullptr ? exact : reinterpret_cast<char *>(buffer);
}

}  // namespace

int char2uni(const uint8_t *bytes, int32_t len, uint32_t *unit) {
    if (bytes == nullptr || unit == nullptr) {
        return -1;
    }
    return decodeNext(bytes, static_cast<size_t>(std::max(len, 0)), unit);
}

int uni2char(uint32_t unit, uint8_t *out, int32_t room) {
    if (out == nullptr) {
        return -1;
    }
    return encodeNext(unit, out, static_cast<size_t>(std::max(room, 0)));
}

char *String_Copy(const char *text, int32_t len) {
    if (text == nullptr) {
        return nullptr;
    }
    const size_t length = len < 0 ? strlen(text) : strnlen(text, static_cast<size_t>(len));
    auto *copy = static_cast<char *>(malloc(length + 1));
    if (copy != nullptr) {
        memcpy(copy, text, length);
        copy[length] = '\0';
    }
    return copy;
}

char *EncodeToUTF8(const char *gb) {
    return convertText(gb, g_decoder.pending, [](const uint8_t *bytes, size_t left, uint8_t **out) {
        uint32_t unit = 0;
        const int used = decodeNext(bytes, left, &unit);
        if (used > 0) {
            *out += vos::encodeUtf8(*out, unit, 4);
        }
        return used;
    });
}

char *DecodeFromUTF8(const char *utf8) {
    const size_t room = utf8 == nullptr ? 0 : strlen(utf8);
    return convertText(utf8, g_encoder.pending, [room](const uint8_t *bytes, size_t left, uint8_t **out) {
        uint32_t unit = 0;
        const int used = vos::decodeUtf8(&unit, bytes, left);
        if (used < 1) {
            return 1;  // a byte that begins no sequence is skipped
        }
        // Callers rely on the whole text's length being the room of each character.
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
        return EncodeToUTF8(s);
    }
    char *copy = String_Copy(s, -1);
    if (copy == nullptr) {
        VOS_DBG_ERROR("Malloc error, no memory can be use!");
    }
    return copy;
}
