// The console, through a shell.
#include "vos/log/parts.h"

#include <cstdlib>
#include <ctime>

namespace vos::log {

namespace {

constexpr size_t kDateSize = 128;
constexpr size_t kCommandSize = 256;

}  // namespace

// Contract: the text is not quoted for the shell, and the path is relative: daemons work in the root directory.
void writeToConsole(uint32_t, bool, const char *text) {
    tzset();
    const time_t now = time(nullptr);
    tm local{};
    localtime_r(&now, &local);
    char date[kDateSize] = "";
    strftime(date, sizeof date, "%Y-%m-%d %T", &local);
    char command[kCommandSize];
    snprintf(command, sizeof command, "echo [%s]%s > dev/console", date, text);
    [[maybe_unused]] const int ignored = system(command);
}

}  // namespace vos::log
