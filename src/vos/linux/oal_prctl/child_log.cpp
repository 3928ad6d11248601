#include "vos/linux/oal_prctl/child_log.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <ctime>

#include "internal/dbg.h"
#include "internal/guards.h"

namespace vos {

namespace {

constexpr sockaddr_un kLog{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
constexpr timeval kLongestWait{.tv_sec = 1, .tv_usec = 0};
constexpr const char *kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

}  // namespace

ChildLog::ChildLog() {
    const time_t now = time(nullptr);
    tm local{};
    localtime_r(&now, &local);
    snprintf(head_, sizeof head_, "%s %2d %02d:%02d:%02d %s", kMonths[local.tm_mon], local.tm_mday, local.tm_hour,
             local.tm_min, local.tm_sec, program_invocation_short_name);
}

void ChildLog::write(int priority, const char *func, int line, const char *format, ...) const {
    if (access(VOS_DBG_GATE_FILE, F_OK) != 0) {
        return;
    }
    char text[1024];
    const int head = snprintf(text, sizeof text, "<%d>%s: [%s:%d]: ", LOG_DAEMON | priority, head_, func, line);
    va_list args;
    va_start(args, format);
    const int body = vsnprintf(text + head, sizeof text - static_cast<size_t>(head), format, args);
    va_end(args);
    const UniqueFd log{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    if (!log || body < 0) {
        return;
    }
    setsockopt(log.get(), SOL_SOCKET, SO_SNDTIMEO, &kLongestWait, sizeof kLongestWait);
    const size_t length = std::min(static_cast<size_t>(head + body), sizeof text - 1);
    sendto(log.get(), text, length, MSG_NOSIGNAL, reinterpret_cast<const sockaddr *>(&kLog), sizeof kLog);
}

}  // namespace vos
