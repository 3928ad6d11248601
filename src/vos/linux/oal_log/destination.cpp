// Standard error, syslog and the serial terminal as destinations of an entry.
#include "vos/log/parts.h"

#include <fcntl.h>

namespace vos::log {

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

}  // namespace vos::log
