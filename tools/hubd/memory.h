// What waits in the hub's memory: blocks that all who are to get them share, and the account of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <utility>

namespace hubd {

struct Client;

/** How much of the hub's memory messages may take, and do. */
class Memory {
  public:
    explicit Memory(size_t limit) : limit_{limit} {}
    Memory(const Memory &) = delete;
    Memory &operator=(const Memory &) = delete;

    size_t limit() const { return limit_; }
    size_t used() const { return used_; }
    /** Little is left: senders wait for smaller queues, and less is read at once. */
    bool isTight() const { return used_ > limit_ / 4 * 3; }

    /** Counts bytes that lie elsewhere; false when there is no room for them. */
    [[nodiscard]] bool take(size_t size) {
        const bool hasRoom = fits(size);
        used_ += hasRoom ? size : 0;
        return hasRoom;
    }
    /** The same, but others may be let go for it. */
    [[nodiscard]] bool takeFor(const Client &asking, size_t size);
    void give(size_t size) { used_ -= size; }
    /** For now as much as this may be used beyond the limit. */
    void allowBeyond(size_t size) { beyond_ = size; }

    /** Called when `size` bytes more cannot be had for `asking`: lets somebody go who holds more. False when nobody
     *  does. */
    std::function<bool(const Client &asking, size_t size)> relieve;

  private:
    friend class Block;
    size_t limit_;
    size_t used_ = 0;
    size_t beyond_ = 0;
    bool fits(size_t size) const { return used_ + size <= limit_ + beyond_; }
};

/** Bytes with a count of their holders; the bytes lie behind it. */
class Block {
  public:
    /** NULL when there is no room for `asking`. */
    static Block *make(Memory &memory, const Client &asking, size_t capacity);

    std::byte *data() { return reinterpret_cast<std::byte *>(this + 1); }
    size_t capacity() const { return capacity_; }
    size_t holders() const { return holders_; }

  private:
    friend class BlockRef;
    Block(Memory &memory, size_t capacity) : memory_{memory}, capacity_{capacity} {}
    void release();

    Memory &memory_;
    size_t capacity_;
    size_t holders_ = 0;
};

/** A holder of a block. */
class BlockRef {
  public:
    BlockRef() = default;
    explicit BlockRef(Block *block) : block_{block} { hold(); }
    BlockRef(const BlockRef &other) : block_{other.block_} { hold(); }
    BlockRef(BlockRef &&other) noexcept : block_{std::exchange(other.block_, nullptr)} {}
    BlockRef &operator=(BlockRef other) noexcept {
        std::swap(block_, other.block_);
        return *this;
    }
    ~BlockRef() {
        if (block_ != nullptr) {
            block_->release();
        }
    }

    explicit operator bool() const { return block_ != nullptr; }
    Block *operator->() const { return block_; }

  private:
    void hold() {
        if (block_ != nullptr) {
            block_->holders_++;
        }
    }
    Block *block_ = nullptr;
};

}  // namespace hubd
