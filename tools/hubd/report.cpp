// Report lines on standard error.
#include "report.h"

#include <poll.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <new>
#include <string>

#include "common/message_line.h"

namespace hubd {

namespace {

// Lines that nobody took. Any client can cause lines: a reader that has stopped must not stop the hub.
size_t linesLost = 0;

// A pipe that is ready takes PIPE_BUF bytes at once, which no line reaches.
bool readyForALine() {
    pollfd end{.fd = STDERR_FILENO, .events = POLLOUT, .revents = 0};
    return poll(&end, 1, 0) > 0;
}

}  // namespace

void logLine(const char *format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    bool written = false;
    try {
        std::string line = "vos-hubd: " + msgline::printable(std::string_view{text}) + "\n";
        if (linesLost > 0) {
            line.insert(0, "vos-hubd: " + std::to_string(linesLost) + " lines before this one are lost\n");
        }
        written = readyForALine() && write(STDERR_FILENO, line.data(), line.size()) > 0;
    } catch (const std::bad_alloc &) {
        // Lost too.
    }
    linesLost = written ? 0 : linesLost + 1;
}

}  // namespace hubd
