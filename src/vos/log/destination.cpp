// The one writer of the daemon log: file first, then the destination.
#include "vos/log.h"

#include "vos/log/parts.h"

namespace {

struct Destination {
    uint32_t value;
    void (*write)(uint32_t level, bool appendNewline, const char *text);
};
constexpr Destination kDestinations[] = {
    {VOS_LOG_DEST_STDERR, vos::log::writeToStderr},   {VOS_LOG_DEST_SYSLOG, vos::log::writeToSyslog},
    {VOS_LOG_DEST_TTY, vos::log::writeToTty},
#if VOS_WITH_ANDROID_LOG
    {VOS_LOG_DEST_ANDROID, vos::log::writeToAndroid},
#endif
    {VOS_LOG_DEST_CONSOLE, vos::log::writeToConsole},
};

}  // namespace

void vosLog_printf(uint32_t level, uint32_t destination, bool appendNewline, const char *text) {
    if (text == nullptr) {
        return;
    }
    vos::log::writeToFile(appendNewline, text);
    for (const Destination &known : kDestinations) {
        if (known.value == destination) {
            known.write(level, appendNewline, text);
        }
    }
}
