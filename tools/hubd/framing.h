// From a byte stream to whole messages, with one system call a read.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <span>

#include "memory.h"
#include "vos/msg_types.h"

namespace hubd {

/** One whole message; the header is a copy, because messages lie unaligned in a stream. */
struct Frame {
    VosMsgHeader header;
    std::span<const std::byte> bytes;
    BlockRef block{};  // that the bytes lie in, where they were put together from pieces

    std::span<const std::byte> payload() const { return bytes.subspan(sizeof(VosMsgHeader)); }
};

/** The beginning of a message whose rest has not arrived. Memory grows with what arrives, never with what a header
 *  only promises. */
class Partial {
  public:
    size_t size() const { return size_; }
    size_t capacity() const { return block_ ? block_->capacity() : 0; }
    /** Whether the header is complete, so that the whole size is known. */
    bool sized() const { return size_ >= sizeof(VosMsgHeader); }
    bool complete() const { return sized() && size_ == frameSize(); }
    std::span<const std::byte> bytes() const { return {block_ ? block_->data() : nullptr, size_}; }
    const BlockRef &block() const { return block_; }

    /** False when memory is short. */
    [[nodiscard]] bool append(Memory &memory, const Client &owner, std::span<const std::byte> bytes);
    /** Room for what comes next, never beyond the message's end; only once sized(). Empty when memory is short. */
    std::span<std::byte> room(Memory &memory, const Client &owner);
    void grown(size_t count) { size_ += count; }
    void clear();
    size_t frameSize() const;

  private:
    bool reserve(Memory &memory, const Client &owner, size_t capacity);
    BlockRef block_;
    size_t size_ = 0;
};

/** What was read behind the end of a client's turn. */
class Kept {
  public:
    bool empty() const { return waiting().empty(); }
    std::span<const std::byte> waiting() const { return rest_; }
    /** False when memory is short; nothing is kept before. */
    [[nodiscard]] bool keep(Memory &memory, const Client &owner, std::span<const std::byte> bytes);
    void shrinkTo(std::span<const std::byte> rest);
    void clear() { shrinkTo({}); }
    size_t held() const { return block_ ? block_->capacity() : 0; }

  private:
    BlockRef block_;
    std::span<const std::byte> rest_;
};

enum class ReadStatus { kOk, kKept, kClosed, kTooLong, kNoMemory };

/** What a sink says about the message that it got. */
enum class Turn {
    kGoesOn,     // it is done with
    kIsOver,     // it is done with; what follows waits for the client's next turn
    kComesLater  // it waits itself
};

/** Reads of all clients, through one buffer that stays warm in the cache. */
class FrameReader {
  public:
    FrameReader(Memory &memory) : memory_{memory} {}

    /** One read from a non-blocking socket. `Turn sink(const Frame &)` gets every message that is complete with it, in
     *  order, until the turn is over; the rest is kept. The bytes stay valid until the next read, or as long as the
     *  frame's block.
     *  @return kKept when the sink ended the turn; kClosed at the end of the stream; kTooLong for a payload longer than
     *          `payloadLimit()` says before each message; kNoMemory when what arrived cannot be kept */
    template <typename Client, typename Limit, typename Sink>
    ReadStatus read(Client &client, Limit &&payloadLimit, Sink &&sink) {
        size_t available = 0;
        ReadStatus status = fill(client.fd.get(), client, client.partial, &available);
        if (status != ReadStatus::kOk) {
            return status;
        }
        std::span<const std::byte> rest = std::span{buffer_.get(), available};
        status = cutWhole(client, sink);
        if (status == ReadStatus::kOk) {
            status = cut(client, rest, payloadLimit, sink);
        }
        if (status == ReadStatus::kKept && !client.kept.keep(memory_, client, rest)) {
            status = ReadStatus::kNoMemory;
        }
        return status;
    }

    /** The same with what is kept. Its bytes stay valid until dropServed(). */
    template <typename Client, typename Limit, typename Sink>
    ReadStatus goOn(Client &client, Limit &&payloadLimit, Sink &&sink) {
        rest_ = client.kept.waiting();
        ReadStatus status = cutWhole(client, sink);
        if (status == ReadStatus::kOk) {
            status = cut(client, rest_, payloadLimit, sink);
        }
        return status;
    }
    template <typename Client>
    void dropServed(Client &client) {
        client.kept.shrinkTo(rest_);
    }

    /** Bytes that the last read got. */
    size_t got() const { return got_; }

  private:
    static constexpr size_t kBufferSize = size_t{256} * 1024;
    static constexpr size_t kReadWhenTight = size_t{16} * 1024;

    static Frame frameAt(std::span<const std::byte> bytes) {
        Frame frame;
        memcpy(&frame.header, bytes.data(), sizeof frame.header);
        frame.bytes = bytes;
        return frame;
    }

    /** A message that was put together from pieces and is complete now. */
    template <typename Client, typename Sink>
    ReadStatus cutWhole(Client &client, Sink &sink) {
        if (!client.partial.complete()) {
            return ReadStatus::kOk;
        }
        Frame frame = frameAt(client.partial.bytes());
        frame.block = client.partial.block();
        const Turn turn = sink(frame);
        if (turn == Turn::kComesLater) {
            return ReadStatus::kKept;
        }
        client.partial.clear();
        return turn == Turn::kGoesOn ? ReadStatus::kOk : ReadStatus::kKept;
    }

    /** Gives the messages at the front of `rest` to the sink, which leaves those that are not done with; the beginning
     *  of a last one goes to the client's partial message. */
    template <typename Client, typename Limit, typename Sink>
    ReadStatus cut(Client &client, std::span<const std::byte> &rest, Limit &payloadLimit, Sink &sink) {
        while (rest.size() >= sizeof(VosMsgHeader)) {
            Frame frame = frameAt(rest);
            if (frame.header.dataLength > payloadLimit()) {
                return ReadStatus::kTooLong;
            }
            const size_t size = sizeof(VosMsgHeader) + frame.header.dataLength;
            if (size > rest.size()) {
                break;
            }
            frame.bytes = rest.first(size);
            const Turn turn = sink(frame);
            if (turn == Turn::kComesLater) {
                return ReadStatus::kKept;
            }
            rest = rest.subspan(size);
            if (turn == Turn::kIsOver) {
                return ReadStatus::kKept;
            }
        }
        if (!rest.empty()) {
            if (!client.partial.append(memory_, client, rest)) {
                return ReadStatus::kNoMemory;
            }
            rest = {};
        }
        return ReadStatus::kOk;
    }

    /** Continues a partial message, or fills the buffer; `available` bytes of the buffer are to be cut into messages.
     */
    ReadStatus fill(int fd, const hubd::Client &owner, Partial &partial, size_t *available);

    Memory &memory_;
    std::unique_ptr<std::byte[]> buffer_ = std::make_unique_for_overwrite<std::byte[]>(kBufferSize);
    std::span<const std::byte> rest_;
    size_t got_ = 0;
};

}  // namespace hubd
