// Reading from clients: the buffer, and messages that arrive in pieces.
#include "framing.h"

#include <algorithm>
#include <cerrno>

#include "kernel.h"

namespace hubd {

namespace {

constexpr size_t kFirstCapacity = 4096;

}  // namespace

size_t Partial::frameSize() const {
    VosMsgHeader header;
    memcpy(&header, block_->data(), sizeof header);
    return sizeof header + header.dataLength;
}

bool Partial::reserve(Memory &memory, const Client &owner, size_t capacity) {
    if (capacity <= this->capacity()) {
        return true;
    }
    BlockRef larger{Block::make(memory, owner, capacity)};
    if (!larger) {
        return false;
    }
    if (size_ > 0) {
        memcpy(larger->data(), block_->data(), size_);
    }
    block_ = std::move(larger);
    return true;
}

bool Partial::append(Memory &memory, const Client &owner, std::span<const std::byte> bytes) {
    if (!reserve(memory, owner, std::max(kFirstCapacity, size_ + bytes.size()))) {
        return false;
    }
    memcpy(block_->data() + size_, bytes.data(), bytes.size());
    size_ += bytes.size();
    return true;
}

std::span<std::byte> Partial::room(Memory &memory, const Client &owner) {
    if (size_ == capacity() && !reserve(memory, owner, std::min(frameSize(), capacity() * 2))) {
        return {};
    }
    return {block_->data() + size_, std::min(capacity(), frameSize()) - size_};
}

void Partial::clear() {
    block_ = {};
    size_ = 0;
}

bool Kept::keep(Memory &memory, const Client &owner, std::span<const std::byte> bytes) {
    if (bytes.empty()) {
        return true;
    }
    block_ = BlockRef{Block::make(memory, owner, bytes.size())};
    if (!block_) {
        return false;
    }
    memcpy(block_->data(), bytes.data(), bytes.size());
    rest_ = {block_->data(), bytes.size()};
    return true;
}

void Kept::shrinkTo(std::span<const std::byte> rest) {
    rest_ = rest;
    if (rest_.empty()) {
        block_ = {};
    }
}

ReadStatus FrameReader::fill(int fd, const Client &owner, Partial &partial, size_t *available) {
    const std::span<std::byte> buffer = {buffer_.get(), memory_.isTight() ? kReadWhenTight : kBufferSize};
    size_t carried = 0;
    std::span<std::byte> room;
    ssize_t got = 0;
    got_ = 0;
    if (partial.sized()) {
        room = partial.room(memory_, owner);
        if (room.empty()) {
            return ReadStatus::kNoMemory;
        }
        const iovec pieces[2] = {{room.data(), room.size()}, {buffer.data(), buffer.size()}};
        // What follows the message goes to the buffer, but only when the room reaches to the message's end.
        const bool toTheEnd = partial.size() + room.size() == partial.frameSize();
        got = kernel::receive(fd, std::span{pieces}.first(toTheEnd ? 2 : 1));
    } else {
        carried = partial.size();
        std::copy_n(partial.bytes().data(), carried, buffer.data());
        const iovec piece{buffer.data() + carried, buffer.size() - carried};
        got = kernel::receive(fd, std::span{&piece, 1});
    }
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) {
        return ReadStatus::kOk;
    }
    if (got <= 0) {
        return ReadStatus::kClosed;
    }
    got_ = static_cast<size_t>(got);
    const size_t direct = std::min(room.size(), got_);
    *available = carried + got_ - direct;
    if (carried > 0) {
        partial.clear();
    }
    partial.grown(direct);
    return ReadStatus::kOk;
}

}  // namespace hubd
