// Entries: level test, colour, header and message, then the one writer: file first, then the destination.
#include "vos/log.h"

#include <syslog.h>
#include <array>
#include <cerrno>

#include "internal/cut_text.h"
#include "internal/own_names.h"
#include "vos/log/parts.h"
#include "vos/tms.h"

namespace {

using vos::CutText;
using vos::log::g_state;

constexpr const char *kColourReset = "\033[0m";
constexpr const char *kBlue = "\033[0;34m";

struct Style {
    uint32_t level;
    const char *colour;
    const char *word;
};
constexpr std::array<Style, 5> kStyles{{{VOS_LOG_LEVEL_RAW, "", ""},
                                        {VOS_LOG_LEVEL_ERROR, "\033[1;31m", "error"},
                                        {VOS_LOG_LEVEL_NOTICE, "\033[1;32m", "notice"},
                                        {VOS_LOG_LEVEL_DEBUG, "\033[0;33m", "debug"},
                                        {VOS_LOG_LEVEL_DEVEL, kBlue, "devel"}}};
constexpr Style kOtherStyle{0, "", "invalid"};

const Style &styleOf(uint32_t level) {
    for (const Style &style : kStyles) {
        if (style.level == level) {
            return style;
        }
    }
    return kOtherStyle;
}

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
#if VOS_WITH_CONSOLE_LOG
    {VOS_LOG_DEST_CONSOLE, vos::log::writeToConsole},
#endif
};

void addHeader(CutText &entry, uint32_t destination, const char *levelWord, const char *func, uint32_t line) {
    const uint32_t mask = g_state.headerMask;
    if ((mask & VOS_LOG_HDRMASK_APPNAME) != 0) {
        entry.text(vos::log::appName()).character(':');
    }
    if ((mask & VOS_LOG_HDRMASK_LEVEL) != 0 && destination == VOS_LOG_DEST_STDERR) {
        entry.text(levelWord).character(':');
    }
    if ((mask & VOS_LOG_HDRMASK_TIMESTAMP) != 0) {
        UtilTimestamp now;
        utilTms_get(&now);
        entry.number(now.sec % 1000).character('.').number(now.nsec / 1000000, 3).character(':');
    }
    if ((mask & VOS_LOG_HDRMASK_LOCATION) != 0) {
        entry.text(func == nullptr ? "?" : func).character(':').number(line).character(':');
    }
}

// Apart from log_log(), so that suppressed entries do not pay for the buffer.
[[gnu::noinline, gnu::format(printf, 5, 0)]] void emit(uint32_t configuredLevel, uint32_t level, const char *func,
                                                       uint32_t line, const char *fmt, va_list args) {
    const int savedErrno = errno;
    const uint32_t destination = vosLog_getDestination();
    char buffer[VOS_LOG_ENTRY_SIZE];
    const bool raw = level == VOS_LOG_LEVEL_RAW;
    {
        CutText entry{buffer};
        const Style &style = styleOf(level);
        entry.text(style.colour);
        if (!raw) {
            addHeader(entry, destination, style.word, func, line);
        }
        errno = savedErrno;
        entry.format(fmt, args);
        entry.text(raw ? "" : kColourReset);
    }
    // Readers count on a line feed behind the colour reset, even where the message ends in its own.
    vosLog_printf(configuredLevel, destination, !raw, buffer);
    errno = savedErrno;
}

}  // namespace

VOS_OPEN_NAME void log_log(uint32_t level, const char *func, uint32_t line, const char *fmt, ...) {
    LogSharedConfig *config = g_state.config;
    if (config == nullptr || fmt == nullptr) {
        return;
    }
    const uint32_t configuredLevel = vos::log::read(config->level);
    if (configuredLevel == VOS_LOG_LEVEL_NONE) {
        return;
    }
    vos::log::recordCallSite(config, func, line);
    if (level > configuredLevel) {
        return;
    }
    va_list args;
    va_start(args, fmt);
    emit(configuredLevel, level, func, line, fmt, args);
    va_end(args);
}

void vosLog_vprintf(uint32_t level, uint32_t destination, bool appendNewline, const char *fmt, ...) {
    if (g_state.config == nullptr || fmt == nullptr || level > vosLog_getLevel()) {
        return;
    }
    char buffer[VOS_LOG_ENTRY_SIZE];
    va_list args;
    va_start(args, fmt);
    CutText{buffer}.text(kBlue).format(fmt, args).text(kColourReset);
    va_end(args);
    vosLog_printf(level, destination, appendNewline, buffer);
}

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

int vosSyslog_info(const char *fmt, ...) {
    if (fmt != nullptr) {
        char buffer[VOS_LOG_ENTRY_SIZE];
        va_list args;
        va_start(args, fmt);
        CutText{buffer}.text("000000 ").format(fmt, args);
        va_end(args);
        oalLog_syslog(LOG_INFO, buffer);
    }
    return 0;
}

int vosLog_security(const char *, ...) {
    return 0;
}
