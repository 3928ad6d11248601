// Texts that other loggers take as a format: what such a reading makes of them, without arguments to read.
#include "vos/log/parts.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

namespace vos::log {

namespace {

// Hands the pieces of the result to `take`.
template <typename Take>
void readPieces(std::string_view text, std::string_view errorText, Take take) {
    for (size_t i = 0; i < text.size(); i++) {
        const char after = text[i] == '%' && i + 1 < text.size() ? text[i + 1] : '\0';
        take(after == 'm' ? errorText : std::string_view{&text[i], 1});
        i += after == 'm' || after == '%' ? 1 : 0;
    }
}

}  // namespace

MemPtr<char> readAsFormat(const char *text) {
    const std::string_view all{text};
    if (all.find('%') == std::string_view::npos) {
        return MemPtr<char>{};
    }
    const std::string_view errorText{strerror(errno)};
    uint64_t size = 1;
    readPieces(all, errorText, [&](std::string_view piece) { size += piece.size(); });
    auto result = allocZeroed<char>(size);
    if (result) {
        char *end = result.get();
        readPieces(all, errorText, [&](std::string_view piece) { end = std::copy(piece.begin(), piece.end(), end); });
    }
    return result;
}

}  // namespace vos::log
