// The real kernel.
#include "kernel.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <ctime>
#include <filesystem>
#include <system_error>

#include "internal/guards.h"
#include "process_record.h"

namespace hubd::kernel {

namespace {

int epoll() {
    static const vos::UniqueFd fd{epoll_create1(EPOLL_CLOEXEC)};
    if (!fd) {
        throw std::system_error{errno, std::generic_category(), "epoll_create1"};
    }
    return fd.get();
}

int control(int operation, int fd, uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.fd = fd;
    return epoll_ctl(epoll(), operation, fd, &event);
}

int64_t clockNs(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

std::array<epoll_event, 512> g_events;

}  // namespace

int64_t monotonicNs() {
    return clockNs(CLOCK_MONOTONIC);
}

int64_t realtimeNs() {
    return clockNs(CLOCK_REALTIME);
}

int accept(int listener) {
    return accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
}

std::optional<ucred> peerOf(int fd) {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    const bool known = getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &size) == 0;
    return known ? std::optional{credentials} : std::nullopt;
}

ssize_t receive(int fd, std::span<const iovec> pieces) {
    return pieces.size() == 1 ? recv(fd, pieces[0].iov_base, pieces[0].iov_len, 0)
                              : readv(fd, pieces.data(), static_cast<int>(pieces.size()));
}

ssize_t send(int fd, std::span<const iovec> pieces) {
    if (pieces.size() == 1) {
        return ::send(fd, pieces[0].iov_base, pieces[0].iov_len, MSG_DONTWAIT | MSG_NOSIGNAL);
    }
    msghdr message{};
    message.msg_iov = const_cast<iovec *>(pieces.data());
    message.msg_iovlen = static_cast<decltype(message.msg_iovlen)>(pieces.size());
    return sendmsg(fd, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
}

void close(int fd) {
    ::close(fd);
}

bool watch(int fd, uint32_t events) {
    return control(EPOLL_CTL_ADD, fd, events) == 0;
}

void rewatch(int fd, uint32_t events) {
    control(EPOLL_CTL_MOD, fd, events);
}

void unwatch(int fd) {
    control(EPOLL_CTL_DEL, fd, 0);
}

std::span<const epoll_event> wait(int timeoutMs) {
    const int count = epoll_wait(epoll(), g_events.data(), static_cast<int>(g_events.size()), timeoutMs);
    return std::span{g_events}.first(count > 0 ? static_cast<size_t>(count) : 0);
}

bool isIdInOwnNamespace(int fd, pid_t pid, uint32_t announced) {
    return hubd::isIdInOwnNamespace(fd, pid, announced);
}

std::string makeDirectories(const std::string &path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    return error ? error.message() : std::string{};
}

ssize_t writeTrace(std::string_view text) {
    // A pipe that is ready takes PIPE_BUF bytes at once.
    pollfd end{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
    if (poll(&end, 1, 0) <= 0) {
        errno = EAGAIN;
        return -1;
    }
    return write(STDOUT_FILENO, text.data(), std::min(text.size(), size_t{PIPE_BUF}));
}

}  // namespace hubd::kernel
