// Prints bytes as hexadecimal and text.
#include "dump.h"

#include <algorithm>
#include <cstdio>

namespace vosctl {

std::string hexText(ByteView bytes, std::string_view separator) {
    std::string text;
    for (const std::byte byte : bytes) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02x", std::to_integer<unsigned>(byte));
        text.append(text.empty() ? "" : separator).append(digits);
    }
    return text;
}

std::string printable(std::string_view text) {
    std::string result{text};
    std::ranges::replace_if(
        result, [](char c) { return c < 0x20 || c > 0x7e; }, '.');
    return result;
}

std::string printable(ByteView bytes) {
    return printable(std::string_view{reinterpret_cast<const char *>(bytes.data()), bytes.size()});
}

void printDump(ByteView bytes) {
    constexpr size_t kPerLine = 16;
    for (size_t offset = 0; offset < bytes.size(); offset += kPerLine) {
        const ByteView line = bytes.subspan(offset, std::min(kPerLine, bytes.size() - offset));
        printf("%08zx  %-*s  |%s|\n", offset, static_cast<int>(kPerLine * 3 - 1), hexText(line, " ").c_str(),
               printable(line).c_str());
    }
}

}  // namespace vosctl
