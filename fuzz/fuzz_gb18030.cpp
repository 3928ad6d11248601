// Texts in either encoding, and UTF-8 arrays: nothing is read or written out of bounds, and what converts converts
// back.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "vos/gb18030.h"

namespace {

std::string owned(char *text) {
    const std::unique_ptr<char, decltype(&free)> guard{text, free};
    return text == nullptr ? "" : text;
}

// Ends a pending half in either direction.
void settle() {
    uint8_t out[4];
    uint32_t unit = 0;
    uni2char('x', out, 4);
    char2uni(out, 1, &unit);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text = std::string{reinterpret_cast<const char *>(data), size}.c_str();
    settle();
    const std::string utf8 = owned(EncodeToUTF8(text.c_str()));
    settle();
    const std::string gb = owned(DecodeFromUTF8(text.c_str()));
    settle();
    // U+FFFF has a code that is written but never read.
    const bool readable = !gb.empty() && !gb.starts_with("\x84\x31\xA4\x39");
    if (owned(EncodeToUTF8(gb.c_str())).empty() == readable) {
        abort();
    }
    settle();
    owned(UTIL_strConvToUTF8(text.c_str()));
    settle();
    std::vector<uint32_t> units(text.size() + 1);
    const std::vector<uint8_t> exact(text.begin(), text.end());
    const int count = exact.empty() ? 0 : utf8_mbstowcs(units.data(), exact.data(), static_cast<int32_t>(exact.size()));
    std::vector<uint8_t> out(7 * text.size() + 1);
    if (count < 0 || static_cast<size_t>(count) > text.size() ||
        utf8_wcstombs(out.data(), units.data(), static_cast<int32_t>(6 * text.size())) >
            static_cast<int>(text.size())) {
        abort();
    }
    return 0;
}
