// XML character entities in values of configuration and messages.
#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/slice.h"
#include "vos/codec.h"

namespace {

struct Entity {
    char character;
    std::string_view text;
};
// In the order in which they are tried.
constexpr std::array<Entity, 5> kEntities{
    {{'<', "&lt;"}, {'>', "&gt;"}, {'&', "&amp;"}, {'%', "&#37;"}, {'"', "&quot;"}}};

const Entity *entityOf(char character) {
    const auto *entity =
        std::ranges::find_if(kEntities, [character](const Entity &e) { return e.character == character; });
    return entity != kEntities.end() ? entity : nullptr;
}

const Entity *entityAt(std::string_view text) {
    const auto *entity =
        std::ranges::find_if(kEntities, [text](const Entity &e) { return vos::startsWith(text, e.text); });
    return entity != kEntities.end() ? entity : nullptr;
}

uint64_t escapedSize(std::string_view text) {
    uint64_t size = 0;
    for (const char character : text) {
        const Entity *entity = entityOf(character);
        size += entity != nullptr ? entity->text.size() : 1;
    }
    return size;
}

vos::MemPtr<char> allocText(uint64_t size, size_t inputSize) {
    auto text = vos::allocZeroed<char>(size + 1);
    if (!text) {
        VOS_DBG_ERROR("failed to allocate %d bytes", static_cast<int>(inputSize + 1));
    }
    return text;
}

}  // namespace

VosRet utilXml_escapeString(const char *in, char **out) {
    if (in == nullptr) {
        return VOS_RET_OK;
    }
    if (out == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const std::string_view text{in};
    auto escaped = allocText(escapedSize(text), text.size());
    char *to = escaped.get();
    for (size_t i = 0; to != nullptr && i < text.size(); i++) {
        const Entity *entity = entityOf(text[i]);
        const std::string_view piece = entity != nullptr ? entity->text : vos::slice(text, i, 1);
        memcpy(to, piece.data(), piece.size());
        to += piece.size();
    }
    *out = escaped.release();
    return *out != nullptr ? VOS_RET_OK : VOS_RET_NO_RESOURCE;
}

VosRet utilXml_unescapeString(const char *in, char **out) {
    if (in == nullptr) {
        return VOS_RET_OK;
    }
    if (out == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const std::string_view text{in};
    auto plain = allocText(text.size(), text.size());
    char *to = plain.get();
    for (size_t i = 0; to != nullptr && i < text.size();) {
        const Entity *entity = text[i] == '&' ? entityAt(vos::slice(text, i)) : nullptr;
        *to++ = entity != nullptr ? entity->character : text[i];
        i += entity != nullptr ? entity->text.size() : 1;
    }
    *out = plain.release();
    return *out != nullptr ? VOS_RET_OK : VOS_RET_NO_RESOURCE;
}
