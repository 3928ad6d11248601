// Prints offset, hexadecimal and text columns.
#include "dump.h"

#include <algorithm>
#include <cstdio>

#include "common/message_line.h"

namespace vosctl {

void printDump(ByteView bytes) {
    constexpr size_t kPerLine = 16;
    for (size_t offset = 0; offset < bytes.size(); offset += kPerLine) {
        const ByteView line = bytes.subspan(offset, std::min(kPerLine, bytes.size() - offset));
        printf("%08zx  %-*s  |%s|\n", offset, static_cast<int>(kPerLine * 3 - 1), msgline::hexText(line, " ").c_str(),
               msgline::printable(line).c_str());
    }
}

}  // namespace vosctl
