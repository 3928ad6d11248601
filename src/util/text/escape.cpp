// Hexadecimal digits and XML special characters.
#include <array>
#include <cstring>
#include <string_view>

#include "internal/own_names.h"
#include "internal/slice.h"
#include "vos/text.h"

namespace {

struct Entity {
    char character;
    std::string_view text;
};
constexpr std::array<Entity, 5> kEntities{
    {{'&', "&amp;"}, {'"', "&quot;"}, {'>', "&gt;"}, {'<', "&lt;"}, {'\'', "&apos;"}}};

std::string_view entityFor(const char &character) {
    for (const Entity &entity : kEntities) {
        if (entity.character == character) {
            return entity.text;
        }
    }
    return {&character, 1};
}

}  // namespace

int32_t vos::own::uitl_charToHex(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

VOS_OPEN_NAME int32_t uitl_strToHex(const char *str, uint8_t *out, uint32_t outLen) {
    if (str == nullptr || out == nullptr) {
        return -1;
    }
    const size_t length = strlen(str);
    if (length % 2 != 0) {
        return -1;
    }
    for (size_t i = 0; i < outLen && 2 * i < length; i++) {
        // A character that is no digit counts as -1, which callers have always seen in the byte.
        const auto high = static_cast<uint32_t>(vos::own::uitl_charToHex(str[2 * i]));
        const auto low = static_cast<uint32_t>(vos::own::uitl_charToHex(str[2 * i + 1]));
        out[i] = static_cast<uint8_t>(high << 4 | low);
    }
    return 0;
}

int32_t util_xmlSpecialCharConvert(const char *in, char *out, uint32_t n) {
    if (in == nullptr || out == nullptr) {
        return -1;
    }
    size_t used = 0;
    for (; *in != '\0' && used + 1 < n; in++) {
        const std::string_view piece = vos::slice(entityFor(*in), 0, n - 1 - used);
        memcpy(out + used, piece.data(), piece.size());
        used += piece.size();
    }
    if (n > 0) {
        out[used] = '\0';
    }
    return 0;
}

VOS_OPEN_NAME int32_t uitl_charToHex(char c) {
    return vos::own::uitl_charToHex(c);
}
