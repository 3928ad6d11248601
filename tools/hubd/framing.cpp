// Reading from clients: the buffer, and messages that arrive in pieces.
#include "framing.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <cerrno>

namespace hubd {

namespace {

constexpr size_t kFirstCapacity = 4096;

}  // namespace

size_t Partial::frameSize() const {
    VosMsgHeader header;
    memcpy(&header, data_.get(), sizeof header);
    return sizeof header + header.dataLength;
}

void Partial::reserve(size_t capacity) {
    if (capacity <= capacity_) {
        return;
    }
    auto larger = std::make_unique_for_overwrite<std::byte[]>(capacity);
    if (size_ > 0) {
        memcpy(larger.get(), data_.get(), size_);
    }
    data_ = std::move(larger);
    capacity_ = capacity;
}

void Partial::append(std::span<const std::byte> bytes) {
    reserve(std::max(kFirstCapacity, size_ + bytes.size()));
    memcpy(data_.get() + size_, bytes.data(), bytes.size());
    size_ += bytes.size();
}

std::span<std::byte> Partial::room() {
    if (size_ == capacity_) {
        reserve(std::min(frameSize(), capacity_ * 2));
    }
    return {data_.get() + size_, std::min(capacity_, frameSize()) - size_};
}

void Partial::clear() {
    data_.reset();
    size_ = 0;
    capacity_ = 0;
}

ReadStatus FrameReader::fill(int fd, Partial &partial, bool *assembled, size_t *available) {
    size_t carried = 0;
    std::span<std::byte> room;
    ssize_t got = 0;
    if (partial.sized()) {
        room = partial.room();
        iovec pieces[2] = {{room.data(), room.size()}, {buffer_.data(), buffer_.size()}};
        // What follows the message goes to the buffer, but only when the room reaches to the message's end.
        const bool toTheEnd = partial.size() + room.size() == partial.frameSize();
        got = readv(fd, pieces, toTheEnd ? 2 : 1);
    } else {
        carried = partial.size();
        std::ranges::copy(partial.bytes(), buffer_.begin());
        got = recv(fd, buffer_.data() + carried, buffer_.size() - carried, 0);
    }
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) {
        return ReadStatus::ok;
    }
    if (got <= 0) {
        return ReadStatus::closed;
    }
    const size_t direct = std::min(room.size(), static_cast<size_t>(got));
    *available = carried + static_cast<size_t>(got) - direct;
    if (carried > 0) {
        partial.clear();
    }
    partial.grown(direct);
    *assembled = direct > 0 && partial.complete();
    return ReadStatus::ok;
}

}  // namespace hubd
