// The hub's kernel, simulated.
#include "kernel.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "heap.h"
#include "stage.h"

namespace hubd::kernel {

namespace {

// What the real one would keep in the kernel is no block of the hub's.
using hubsim::HeapOwner;

std::array<epoll_event, 32> g_events;

}  // namespace

int64_t monotonicNs() {
    return hubsim::world().nowNs();
}

int64_t realtimeNs() {
    return hubsim::world().nowNs();
}

int accept(int) {
    const HeapOwner owner{false};
    return hubsim::world().accept();
}

std::optional<ucred> peerOf(int fd) {
    return ucred{hubsim::world().at(fd).pid, geteuid(), getegid()};
}

ssize_t receive(int fd, std::span<const iovec> pieces) {
    const HeapOwner owner{false};
    return hubsim::world().receive(fd, pieces);
}

ssize_t send(int fd, std::span<const iovec> pieces) {
    const HeapOwner owner{false};
    return hubsim::world().send(fd, pieces);
}

void close(int fd) {
    const HeapOwner owner{false};
    hubsim::world().closeByHub(fd);
}

bool watch(int fd, uint32_t events) {
    hubsim::world().watch(fd, events);
    return true;
}

void rewatch(int fd, uint32_t events) {
    hubsim::world().watch(fd, events);
}

void unwatch(int fd) {
    hubsim::world().watch(fd, 0);
}

std::span<const epoll_event> wait(int timeoutMs) {
    const HeapOwner owner{false};
    bool over = false;
    size_t count = hubsim::scene().wait(g_events, timeoutMs < 0 ? -1 : timeoutMs * hubsim::kMs, &over);
    if (over) {
        g_events[0].events = EPOLLIN;
        g_events[0].data.fd = hubsim::kSignalFd;
        count = 1;
    }
    return std::span{g_events}.first(count);
}

bool isIdInOwnNamespace(int, pid_t, uint32_t announced) {
    return announced == 1;
}

std::string makeDirectories(const std::string &path) {
    return path.size() % 2 == 0 ? std::string{} : "no room";
}

ssize_t writeTrace(std::string_view text) {
    if (text.size() % 3 == 0) {
        errno = EAGAIN;
        return -1;
    }
    return static_cast<ssize_t>(text.size() - text.size() % 2);
}

}  // namespace hubd::kernel
