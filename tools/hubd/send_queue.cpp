// Pieces of blocks in a row.
#include "send_queue.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace hubd {

namespace {

constexpr size_t kSmallestBlock = 1024;
constexpr size_t kLargestSpare = size_t{4} * 1024;
constexpr size_t kFewPieces = 4;
constexpr size_t kGone = 64;  // pieces that have left and are still in the row

}  // namespace

// Only a block that nobody else holds grows; its last piece is the one that does.
bool SendQueue::isRoomBehindLast(size_t size) const {
    if (first_ == pieces_.size()) {
        return false;
    }
    const Piece &last = pieces_.back();
    const std::byte *end = last.block->data() + last.block->capacity();
    return !last.block->isShared() && static_cast<size_t>(end - (last.bytes + last.size)) >= size;
}

void SendQueue::add(const BlockRef &block, std::byte *bytes, size_t size) {
    pieces_.push_back({block, bytes, size});
    size_ += size;
}

bool SendQueue::append(Memory &memory, const Client &owner, std::span<const std::byte> head,
                       std::span<const std::byte> tail, const BlockRef &shared) {
    const size_t copied = head.size() + (shared ? 0 : tail.size());
    const auto copyTo = [&](std::byte *to) {
        std::ranges::copy(head, to);
        if (!shared) {
            std::ranges::copy(tail, to + head.size());
        }
    };
    try {
        if (pieces_.capacity() < pieces_.size() + 2) {
            pieces_.reserve(std::max(kFewPieces, 2 * pieces_.size()));
        }
    } catch (const std::bad_alloc &) {
        return false;
    }
    if (copied > 0 && isRoomBehindLast(copied)) {
        Piece &last = pieces_.back();
        copyTo(last.bytes + last.size);
        last.size += copied;
        size_ += copied;
    } else if (copied > 0) {
        const size_t spare = shared ? 0 : std::clamp(size_, kSmallestBlock, kLargestSpare);
        const BlockRef block{Block::make(memory, owner, std::max(copied, spare))};
        if (!block) {
            return false;
        }
        copyTo(block->data());
        add(block, block->data(), copied);
    }
    if (shared && !tail.empty()) {
        // The queue only reads what it shares.
        add(shared, const_cast<std::byte *>(tail.data()), tail.size());
    }
    return true;
}

size_t SendQueue::gather(std::span<iovec> pieces) const {
    const size_t count = std::min(pieces.size(), pieces_.size() - first_);
    for (size_t i = 0; i < count; i++) {
        const Piece &piece = pieces_[first_ + i];
        pieces[i] = {piece.bytes, piece.size};
    }
    return count;
}

void SendQueue::consume(size_t count) {
    size_ -= count;
    while (count > 0) {
        Piece &piece = pieces_[first_];
        const size_t taken = std::min(count, piece.size);
        piece.bytes += taken;
        piece.size -= taken;
        count -= taken;
        if (piece.size == 0) {
            piece.block = {};
            first_++;
        }
    }
    if (size_ == 0) {
        clear();
    } else if (first_ >= kGone && first_ > pieces_.size() / 2) {
        pieces_.erase(pieces_.begin(), pieces_.begin() + static_cast<ptrdiff_t>(first_));
        first_ = 0;
    }
}

void SendQueue::clear() {
    pieces_ = {};
    first_ = 0;
    size_ = 0;
}

}  // namespace hubd
