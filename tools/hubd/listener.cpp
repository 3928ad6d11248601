// Listening: one hub for one path.
#include "listener.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace hubd {

namespace {

constexpr int kBacklog = 4096;

std::string because(const std::string &what) {
    return what + ": " + strerror(errno);
}

vos::UniqueFd newSocket() {
    return vos::UniqueFd{socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)};
}

const sockaddr *generic(const sockaddr_un &address) {
    return reinterpret_cast<const sockaddr *>(&address);
}

// From the first moment with the mode that it is to have.
bool bindWithMode(int fd, const sockaddr_un &address, std::optional<mode_t> mode) {
    if (!mode) {
        return bind(fd, generic(address), sizeof address) == 0;
    }
    const mode_t mask = umask(0);
    const bool bound = fchmod(fd, *mode) == 0 && bind(fd, generic(address), sizeof address) == 0;
    umask(mask);
    return bound;
}

void removeStale(const std::string &path, const sockaddr_un &address) {
    struct stat found {};
    if (lstat(path.c_str(), &found) != 0) {
        return;
    }
    if (!S_ISSOCK(found.st_mode)) {
        throw HubError{path + " exists and is no socket; remove it or choose another with --socket"};
    }
    const vos::UniqueFd probe = newSocket();
    // A backlog that is full (EAGAIN) is a living hub's too.
    if (connect(probe.get(), generic(address), sizeof address) == 0 || errno != ECONNREFUSED) {
        throw HubError{"another hub listens on " + path + "; stop it or choose another path with --socket"};
    }
    unlink(path.c_str());
}

}  // namespace

Listener::Listener(const std::string &path, std::optional<mode_t> mode) : path_{path}, fd_{newSocket()} {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        throw HubError{"a socket path has 1 to " + std::to_string(sizeof address.sun_path - 1) + " bytes"};
    }
    memcpy(address.sun_path, path.data(), path.size());
    const StartLock lock{path};
    removeStale(path, address);
    if (!fd_ || !bindWithMode(fd_.get(), address, mode) || listen(fd_.get(), kBacklog) != 0) {
        throw HubError{because("cannot listen on " + path)};
    }
    stat(path.c_str(), &identity_);
}

Listener::~Listener() {
    struct stat now {};
    if (lstat(path_.c_str(), &now) == 0 && now.st_dev == identity_.st_dev && now.st_ino == identity_.st_ino) {
        unlink(path_.c_str());
    }
}

}  // namespace hubd
