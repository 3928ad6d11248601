// Base64, the tolerant pair: characters are collected into tokens of four, whatever stands between them.
#include <algorithm>
#include <array>
#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "util/codec/base64_groups.h"
#include "vos/codec.h"

namespace {

using vos::base64::kInvalid;
using vos::base64::kPad;
using vos::base64::valueOf;

struct Token {
    std::array<char, 4> characters;
    size_t count = 0;

    bool full() const { return count == characters.size(); }
    void add(char character) { characters[count++] = character; }
    void pad() { std::fill(characters.begin() + count, characters.end(), kPad); }
};

class TokenDecoder {
  public:
    TokenDecoder(const char *text, size_t size, uint8_t *out, uint64_t capacity)
        : text_{text}, size_{size}, start_{out}, out_{out}, capacity_{static_cast<ptrdiff_t>(capacity)} {}

    VosRet run();
    uint32_t written() const { return static_cast<uint32_t>(out_ - start_); }

  private:
    VosRet decodeFinal(const Token &token);
    bool onlyForeignCharactersLeft() const;
    bool takeWholeToken(const Token &token);

    const char *text_;
    size_t size_;
    uint8_t *start_;
    uint8_t *out_;
    ptrdiff_t capacity_;
};

bool belongsToToken(char character) {
    return character == kPad || valueOf(character) != kInvalid;
}

bool TokenDecoder::takeWholeToken(const Token &token) {
    utilAst_assertFunc("util_base64decode", __LINE__, "(out - data->output_buffer + 3) <= (SINT32) data->output_buflen",
                       out_ - start_ + 3 <= capacity_ ? 1 : 0);
    const bool whole = vos::base64::decodeGroups(token.characters.data(), token.count, out_) != 0;
    out_ += whole ? 3 : 0;
    return whole;
}

VosRet TokenDecoder::decodeFinal(const Token &token) {
    const auto &[first, second, third, fourth] = token.characters;
    const uint8_t values[] = {valueOf(first), valueOf(second), valueOf(third)};
    const bool oneByte = third == kPad;
    if (fourth != kPad || values[0] == kInvalid || values[1] == kInvalid || (!oneByte && values[2] == kInvalid)) {
        return VOS_RET_ERROR;
    }
    *out_++ = static_cast<uint8_t>(values[0] << 2 | values[1] >> 4);
    if (!oneByte) {
        *out_++ = static_cast<uint8_t>(values[1] << 4 | values[2] >> 2);
    }
    return VOS_RET_OK;
}

bool TokenDecoder::onlyForeignCharactersLeft() const {
    return std::all_of(text_, text_ + size_, [](char c) { return valueOf(c) == kInvalid; });
}

VosRet TokenDecoder::run() {
    Token token;
    while (size_ > 0) {
        if (token.count == 0) {
            const size_t done = vos::base64::decodeGroups(text_, size_, out_);
            text_ += done;
            size_ -= done;
            out_ += done / 4 * 3;
            if (size_ == 0) {
                break;
            }
        }
        const char character = *text_++;
        size_--;
        if (belongsToToken(character)) {
            token.add(character);
        }
        if (!token.full()) {
            continue;
        }
        if (!takeWholeToken(token)) {
            return onlyForeignCharactersLeft() ? decodeFinal(token) : VosRet{VOS_RET_ERROR};
        }
        token.count = 0;
    }
    if (token.count == 0 || token.characters[0] == kPad) {
        return VOS_RET_OK;
    }
    token.pad();
    return decodeFinal(token);
}

}  // namespace

VosRet utilB64_encode(const uint8_t *in, uint32_t len, char **out) {
    if (out == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    *out = nullptr;
    if (in == nullptr || len == 0) {
        return VOS_RET_BAD_ARG;
    }
    auto text = vos::allocZeroed<char>((uint64_t{len} + 2) / 3 * 4 + 1);
    if (!text) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return VOS_RET_NO_RESOURCE;
    }
    vos::base64::encode(in, len, text.get());
    VOS_DBG_DEBUG("in_buffer_count=%d", static_cast<int>(len % 3));
    *out = text.release();
    return VOS_RET_OK;
}

VosRet utilB64_decode(const char *text, uint8_t **out, uint32_t *outLen) {
    if (out == nullptr || outLen == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    *out = nullptr;
    *outLen = 0;
    if (text == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const size_t size = strlen(text);
    const uint64_t capacity = uint64_t{size} * 3 >> 2;
    auto bytes = vos::allocZeroed<uint8_t>(capacity);
    if (!bytes) {
        VOS_DBG_ERROR("could not allocate output buffer of %d bytes", static_cast<int>(capacity));
        return VOS_RET_NO_RESOURCE;
    }
    TokenDecoder decoder{text, size, bytes.get(), capacity};
    const VosRet ret = decoder.run();
    if (ret != VOS_RET_OK) {
        return ret;
    }
    *outLen = decoder.written();
    *out = bytes.release();
    return VOS_RET_OK;
}
