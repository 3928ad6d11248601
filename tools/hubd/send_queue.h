// Messages that wait for a client's socket: pieces of blocks, of which long payloads are shared with other queues.
#pragma once

#include <sys/uio.h>

#include <span>
#include <vector>

#include "memory.h"

namespace hubd {

class SendQueue {
  public:
    SendQueue() = default;
    SendQueue(const SendQueue &) = delete;
    SendQueue &operator=(const SendQueue &) = delete;
    ~SendQueue() { clear(); }

    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }

    /** Appends copies of `head` and, unless `shared` holds them already, of `tail`. False when memory is short: nothing
     *  was appended. */
    bool append(Memory &memory, const Client &owner, std::span<const std::byte> head, std::span<const std::byte> tail,
                const BlockRef &shared);

    /** The first pieces, as many as fit; returns how many. */
    size_t gather(std::span<iovec> pieces) const;
    void consume(size_t count);
    void clear();
    /** Bytes of memory that would be free without it; what it shares counts in parts. */
    size_t held() const;

  private:
    struct Piece {
        BlockRef block;
        std::byte *bytes;
        size_t size;
    };
    [[nodiscard]] bool reservePieces(Memory &memory, const Client &owner);
    void add(const BlockRef &block, std::byte *bytes, size_t size);

    Memory *memory_ = nullptr;  // that counts the pieces
    std::vector<Piece> pieces_;
    size_t first_ = 0;
    size_t size_ = 0;
    BlockRef copies_;  // where the next copies go, behind those that are there
    size_t copied_ = 0;
};

}  // namespace hubd
