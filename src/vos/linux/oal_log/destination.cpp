// Where entries go besides the log file: standard error, syslog, the serial terminal and the console.
#include "vos/log/parts.h"

#include <fcntl.h>
#include <unistd.h>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace vos::log {

namespace {

constexpr size_t kDateSize = 128;
constexpr size_t kConsoleCommandSize = 256;

}  // namespace

void writeToStderr(uint32_t, bool appendNewline, const char *text) {
    fprintf(stderr, appendNewline ? "%s\n" : "%s", text);
    fflush(stderr);
}

void writeToSyslog(uint32_t level, bool, const char *text) {
    oalLog_syslog(level, text);
}

void writeToTty(uint32_t, bool, const char *text) {
    const UniqueFd tty{open(VOS_LOG_TTY, O_RDWR | O_NOCTTY | O_CLOEXEC)};
    if (tty) {
        // One line feed whatever the caller asked for: users of the terminal know it.
        dprintf(tty.get(), "%s\n", text);
    }
}

void writeToConsole(uint32_t, bool, const char *text) {
    tzset();
    const time_t now = time(nullptr);
    tm local{};
    localtime_r(&now, &local);
    char date[kDateSize] = "";
    strftime(date, sizeof date, "%Y-%m-%d %T", &local);
    char command[kConsoleCommandSize];
    // The path is relative: daemons work in the root directory.
    snprintf(command, sizeof command, "echo [%s]%s > dev/console", date, text);
    [[maybe_unused]] const int ignored = system(command);
}

}  // namespace vos::log
