// Report lines on standard error.
#include "log.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <string>

#include "common/message_line.h"

namespace hubd {

void logLine(const char *format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const std::string line = "vos-hubd: " + msgline::printable(std::string_view{text}) + "\n";
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace hubd
