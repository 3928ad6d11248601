// Report lines on standard error.
#include "log.h"

#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace hubd {

void logLine(const char *format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const std::string line = "vos-hubd: " + printable(text, '?') + "\n";
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}

std::string printable(std::string_view text, char substitute) {
    std::string result{text};
    std::ranges::replace_if(
        result, [](char c) { return c < ' ' || c > '~'; }, substitute);
    return result;
}

}  // namespace hubd
