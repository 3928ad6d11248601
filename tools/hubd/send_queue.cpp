// Pieces of blocks in a row.
#include "send_queue.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace hubd {

namespace {

constexpr size_t kSmallest = 1024;
constexpr size_t kLargestSpare = size_t{64} * 1024;
constexpr size_t kFewPieces = 4;
constexpr size_t kGone = 64;  // pieces that have left and are still in the row

}  // namespace

bool SendQueue::reservePieces(Memory &memory, const Client &owner) {
    const size_t before = pieces_.capacity();
    if (before >= pieces_.size() + 2) {
        return true;
    }
    const size_t after = std::max(kFewPieces, 2 * pieces_.size());
    const size_t more = (after - before) * sizeof(Piece);
    if (!memory.takeFor(owner, more)) {
        return false;
    }
    try {
        pieces_.reserve(after);
        memory_ = &memory;
        return true;
    } catch (const std::bad_alloc &) {
        memory.give(more);
        return false;
    }
}

void SendQueue::add(const BlockRef &block, std::byte *bytes, size_t size) {
    size_ += size;
    if (first_ < pieces_.size() && pieces_.back().bytes + pieces_.back().size == bytes) {
        pieces_.back().size += size;
    } else {
        pieces_.push_back({block, bytes, size});
    }
}

bool SendQueue::append(Memory &memory, const Client &owner, std::span<const std::byte> head,
                       std::span<const std::byte> tail, const BlockRef &shared) {
    const size_t copied = head.size() + (shared ? 0 : tail.size());
    if (!reservePieces(memory, owner)) {
        return false;
    }
    const size_t capacity = copies_ ? copies_->capacity() : 0;
    if (capacity - copied_ < copied) {
        // Headers of long messages need little room, whatever the length of the queue.
        BlockRef next{Block::make(memory, owner, std::max(copied, std::clamp(2 * capacity, kSmallest, kLargestSpare)))};
        if (!next) {
            return false;
        }
        copies_ = std::move(next);
        copied_ = 0;
    }
    if (copied > 0) {
        std::byte *const to = copies_->data() + copied_;
        std::copy_n(head.data(), head.size(), to);
        if (!shared) {
            std::copy_n(tail.data(), tail.size(), to + head.size());
        }
        copied_ += copied;
        add(copies_, to, copied);
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

size_t SendQueue::held() const {
    size_t sum = pieces_.capacity() * sizeof(Piece);
    sum += copies_ ? copies_->capacity() / copies_->holders() : 0;
    for (const Piece &piece : std::span{pieces_}.subspan(first_)) {
        sum += piece.block->capacity() / piece.block->holders();
    }
    return sum;
}

void SendQueue::clear() {
    if (memory_ != nullptr) {
        memory_->give(pieces_.capacity() * sizeof(Piece));
    }
    pieces_ = std::vector<Piece>{};  // gives its memory back, which {} would not
    copies_ = {};
    copied_ = 0;
    first_ = 0;
    size_ = 0;
}

}  // namespace hubd
