// syslog.
#include "vos/log.h"

#include <syslog.h>

#include "vos/log/parts.h"

void oalLog_init() {
    openlog(nullptr, 0, LOG_DAEMON);
}

void oalLog_cleanup() {
    closelog();
}

void oalLog_syslog(uint32_t level, const char *text) {
    if (text != nullptr) {
        const vos::MemPtr<char> read = vos::log::readAsFormat(text);
        syslog(static_cast<int>(level), "%s", read ? read.get() : text);
    }
}
