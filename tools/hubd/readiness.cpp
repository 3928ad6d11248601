// A line in a pipe, a datagram to the service manager.
#include "readiness.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "internal/guards.h"
#include "report.h"

namespace hubd {

namespace {

constexpr std::string_view kLine = "ready\n";
constexpr std::string_view kNotification = "READY=1";

void tellStarter(int fd) {
    const vos::UniqueFd end{fd};
    pollfd ready{.fd = fd, .events = POLLOUT, .revents = 0};
    errno = EAGAIN;
    if (poll(&ready, 1, 0) <= 0 || write(fd, kLine.data(), kLine.size()) < 0) {
        logLine("cannot write to --ready-fd %d: %s", fd, strerror(errno));
    }
}

void tellServiceManager(std::string_view place) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if ((!place.starts_with('/') && !place.starts_with('@')) || place.size() >= sizeof address.sun_path) {
        logLine("NOTIFY_SOCKET is no path and no abstract name that fits: %.*s", static_cast<int>(place.size()),
                place.data());
        return;
    }
    memcpy(address.sun_path, place.data(), place.size());
    if (address.sun_path[0] == '@') {
        address.sun_path[0] = '\0';
    }
    // An abstract name ends with the address, not with a NUL.
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + place.size());
    const vos::UniqueFd fd{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    if (sendto(fd.get(), kNotification.data(), kNotification.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
               reinterpret_cast<const sockaddr *>(&address), size) < 0) {
        logLine("cannot notify %.*s: %s", static_cast<int>(place.size()), place.data(), strerror(errno));
    }
}

}  // namespace

void tellReady(int readyFd) {
    if (readyFd >= 0) {
        tellStarter(readyFd);
    }
    if (const char *place = getenv("NOTIFY_SOCKET"); place != nullptr && *place != '\0') {
        tellServiceManager(place);
    }
}

}  // namespace hubd
