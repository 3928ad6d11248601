// epoll.
#include "poller.h"

#include <cerrno>
#include <system_error>

namespace hubd {

Poller::Poller() : fd_{epoll_create1(EPOLL_CLOEXEC)} {
    if (!fd_) {
        throw std::system_error{errno, std::generic_category(), "epoll_create1"};
    }
}

bool Poller::add(int fd) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = fd;
    return epoll_ctl(fd_.get(), EPOLL_CTL_ADD, fd, &event) == 0;
}

void Poller::remove(int fd) {
    epoll_ctl(fd_.get(), EPOLL_CTL_DEL, fd, nullptr);
}

void Poller::update(Client &client) {
    const bool output = !client.queue.empty() && !client.deaf;
    const bool input = client.pauses == 0 && client.kept.empty();
    uint32_t wanted = (input ? uint32_t{EPOLLIN} : 0U) | (output ? uint32_t{EPOLLOUT} : 0U);
    if (wanted == 0) {
        wanted = EPOLLET;  // the end of a client that must wait is told once, not all the time
    }
    if (wanted == client.watched) {
        return;
    }
    client.watched = wanted;
    epoll_event event{};
    event.events = wanted;
    event.data.fd = client.fd.get();
    epoll_ctl(fd_.get(), EPOLL_CTL_MOD, client.fd.get(), &event);
}

std::span<const epoll_event> Poller::wait(int timeoutMs) {
    const int count = epoll_wait(fd_.get(), events_.data(), static_cast<int>(events_.size()), timeoutMs);
    return std::span{events_}.first(count > 0 ? static_cast<size_t>(count) : 0);
}

}  // namespace hubd
