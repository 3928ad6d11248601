// Sockets and the clock of a simulation.
#include "world.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "finding.h"
#include "heap.h"
#include "vos/ret.h"

namespace hubsim {

void Channel::put(const std::byte *bytes, size_t count) {
    if (head_ > 0 && head_ == bytes_.size()) {
        bytes_.clear();
        head_ = 0;
    } else if (head_ > 65536 && head_ > bytes_.size() / 2) {
        bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<ptrdiff_t>(head_));
        head_ = 0;
    }
    bytes_.insert(bytes_.end(), bytes, bytes + count);
}

size_t Channel::get(std::byte *out, size_t most) {
    const size_t count = std::min(most, size());
    if (count > 0) {
        memcpy(out, bytes_.data() + head_, count);
        head_ += count;
    }
    return count;
}

void Channel::drop(size_t count) {
    head_ += count;
}

void Stream::pass(const std::byte *bytes, size_t count) {
    while (count > 0) {
        const size_t taken = std::min(count, left_ > 0 ? left_ : sizeof header_ - ofHeader_);
        if (left_ > 0) {
            left_ -= taken;
        } else {
            memcpy(reinterpret_cast<std::byte *>(&header_) + ofHeader_, bytes, taken);
            ofHeader_ = (ofHeader_ + taken) % sizeof header_;
            left_ = ofHeader_ == 0 ? header_.dataLength : 0;
            eid_ = ofHeader_ == 0 && eid_ == 0 ? header_.dst : eid_;
            // Whoever asks the hub, or nobody, under a false source gets the answer under that.
            const bool isAnswer = header_.src == EID_HUBD && (header_.flags & VOS_MSG_FLAG_RESPONSE) != 0;
            const bool isToNobody = header_.wordData == VOS_RET_PEER_GONE && header_.dataLength == 0;
            const bool isForOthers = header_.dst != eid_ && (header_.flags & VOS_MSG_FLAG_REQUEUE) == 0;
            if (ofHeader_ == 0 && isForOthers && !isAnswer && !isToNobody) {
                finding("entity %u is sent bytes that are no message of its own", eid_);
            }
        }
        bytes += taken;
        count -= taken;
    }
}

std::shared_ptr<Connection> World::connect(int pid, size_t toHubRoom, size_t toClientRoom) {
    auto connection = std::make_shared<Connection>(toHubRoom, toClientRoom);
    connection->pid = pid;
    backlog_.push_back(connection);
    return connection;
}

size_t World::connections() const {
    return static_cast<size_t>(std::ranges::count_if(byFd_, [](const auto &c) { return c != nullptr; }));
}

Connection &World::at(int fd) {
    const auto index = static_cast<size_t>(fd - kFirstFd);
    if (fd < kFirstFd || index >= byFd_.size() || byFd_[index] == nullptr) {
        finding("the hub uses descriptor %d, which it has closed", fd);
    }
    return *byFd_[index];
}

int World::accept() {
    calls_++;
    while (!backlog_.empty() && backlog_.front()->clientClosed && random_.once(2)) {
        backlog_.erase(backlog_.begin());
        errno = ECONNABORTED;
        return -1;
    }
    if (backlog_.empty()) {
        errno = EAGAIN;
        return -1;
    }
    // The lowest number that is free, as kernels give them.
    size_t index = 0;
    while (index < byFd_.size() && byFd_[index] != nullptr) {
        index++;
    }
    if (index >= descriptors_) {
        calls_--;
        errno = random_.once(2) ? EMFILE : ENOMEM;
        return -1;
    }
    if (index == byFd_.size()) {
        byFd_.emplace_back();
    }
    byFd_[index] = backlog_.front();
    backlog_.erase(backlog_.begin());
    byFd_[index]->fd = kFirstFd + static_cast<int>(index);
    return byFd_[index]->fd;
}

ssize_t World::receive(int fd, std::span<const iovec> pieces) {
    Connection *connection = &at(fd);
    calls_++;
    if (random_.once(64)) {
        errno = random_.once(2) ? EINTR : EAGAIN;
        return -1;
    }
    connection->waitsSince = 0;
    size_t most = connection->toHub.size();
    if (most == 0) {
        if (!connection->clientClosed) {
            errno = EAGAIN;
            return -1;
        }
        if (random_.once(2)) {
            errno = ECONNRESET;
            return -1;
        }
        return 0;
    }
    if (random_.once(4)) {
        most = 1 + random_.below(most);
    }
    size_t got = 0;
    for (const iovec &piece : pieces) {
        got += connection->toHub.get(static_cast<std::byte *>(piece.iov_base), std::min(piece.iov_len, most - got));
    }
    return static_cast<ssize_t>(got);
}

ssize_t World::send(int fd, std::span<const iovec> pieces) {
    Connection *connection = &at(fd);
    calls_++;
    if (connection->clientClosed) {
        errno = random_.once(2) ? EPIPE : ECONNRESET;
        return -1;
    }
    size_t room = connection->toClient.room();
    if (connection->refuses || room == 0 || random_.once(64)) {
        const int codes[] = {EAGAIN, EINTR, ENOBUFS, ENOMEM};
        errno = room == 0 ? EAGAIN : codes[random_.below(4)];
        return -1;
    }
    if (random_.once(8)) {
        room = 1 + random_.below(room);
        if (allocationsFail_ && random_.once(4)) {
            failAllocation(1);  // the rest of what is sent finds no room
        }
    }
    size_t sent = 0;
    for (const iovec &piece : pieces) {
        const size_t count = std::min(piece.iov_len, room - sent);
        connection->toClient.put(static_cast<const std::byte *>(piece.iov_base), count);
        connection->sent.pass(static_cast<const std::byte *>(piece.iov_base), count);
        sent += count;
    }
    return static_cast<ssize_t>(sent);
}

void World::closeByHub(int fd) {
    Connection *connection = &at(fd);
    // The hub closes those who have ended in a row, when what they held has been given back.
    const size_t held = hubHeap().bytes;
    if (closedAtCall_ == calls_ && heldAtClose_ > held + kOfAPlace) {
        finding("%zu bytes were kept for a client that had ended", heldAtClose_ - held);
    }
    closedAtCall_ = ++calls_;
    heldAtClose_ = held;
    connection->hubClosed = true;
    connection->fd = -1;
    byFd_[static_cast<size_t>(fd - kFirstFd)].reset();
}

void World::watch(int fd, uint32_t events) {
    calls_++;
    if (fd == kListenFd) {
        listenerWatched_ = events != 0;
        return;
    }
    if (fd == kSignalFd) {
        return;
    }
    Connection *connection = &at(fd);
    connection->watched = events;
    connection->toldOfEnd = false;
}

size_t World::ready(std::span<epoll_event> events) {
    turns_++;
    order_.clear();
    for (size_t i = 0; i < byFd_.size(); i++) {
        if (byFd_[i] != nullptr) {
            order_.push_back(static_cast<int>(i));
        }
    }
    if (listenerWatched_ && !backlog_.empty()) {
        order_.push_back(-1);
    }
    for (size_t i = order_.size(); i > 1; i--) {
        std::swap(order_[i - 1], order_[random_.below(i)]);
    }
    size_t count = 0;
    const size_t most = random_.once(4) ? 1 + random_.below(4) : events.size();
    for (const int index : order_) {
        if (count == std::min(most, events.size())) {
            break;
        }
        if (index < 0) {
            events[count].events = EPOLLIN;
            events[count++].data.fd = kListenFd;
            continue;
        }
        Connection &connection = *byFd_[static_cast<size_t>(index)];
        uint32_t now = 0;
        if (connection.toHub.size() > 0 || connection.clientClosed) {
            now |= EPOLLIN;
        }
        if (connection.clientClosed || connection.toClient.room() > 0) {
            now |= EPOLLOUT;
        }
        now &= connection.watched;
        if (connection.clientClosed && ((connection.watched & EPOLLET) == 0 || !connection.toldOfEnd)) {
            now |= EPOLLHUP;
            connection.toldOfEnd = true;
        }
        if ((now & EPOLLIN) != 0 && connection.waitsSince == 0) {
            connection.waitsSince = turns_;
        }
        if (now != 0) {
            events[count].events = now;
            events[count++].data.fd = connection.fd;
        }
    }
    return count;
}

}  // namespace hubsim
