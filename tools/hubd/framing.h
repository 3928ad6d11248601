// From a byte stream to whole messages, with one system call a read.
#pragma once

#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "byte_queue.h"
#include "vos/msg_types.h"

namespace hubd {

/** One whole message; the header is a copy, because messages lie unaligned in a stream. */
struct Frame {
    VosMsgHeader header;
    std::span<const std::byte> bytes;

    std::span<const std::byte> payload() const { return bytes.subspan(sizeof(VosMsgHeader)); }
};

/** The beginning of a message whose rest has not arrived. Memory grows with what arrives, never with what a header
 *  only promises. */
class Partial {
  public:
    size_t size() const { return size_; }
    /** Whether the header is complete, so that the whole size is known. */
    bool sized() const { return size_ >= sizeof(VosMsgHeader); }
    bool complete() const { return sized() && size_ == frameSize(); }
    std::span<const std::byte> bytes() const { return {data_.get(), size_}; }

    void append(std::span<const std::byte> bytes);
    /** Room for what comes next, never beyond the message's end; only once sized(). */
    std::span<std::byte> room();
    void grown(size_t count) { size_ += count; }
    void clear();
    size_t frameSize() const;

  private:
    void reserve(size_t capacity);
    std::unique_ptr<std::byte[]> data_;
    size_t size_ = 0;
    size_t capacity_ = 0;
};

enum class ReadStatus { ok, kept, closed, broken };

/** What a sink says about the message that it got. */
enum class Turn {
    goesOn,     // it is done with
    isOver,     // it is done with; what follows waits for the client's next turn
    comesLater  // it waits itself
};

/** Reads of all clients, through one buffer that stays warm in the cache. */
class FrameReader {
  public:
    FrameReader() : buffer_(kBufferSize) {}

    /** One read from a non-blocking socket. `Turn sink(const Frame &)` gets every message that is complete with it, in
     *  order, until the turn is over; the rest goes to `kept`. The bytes stay valid until the next read.
     *  @return as cut() does; closed at the end of the stream */
    template <typename Limit, typename Sink>
    ReadStatus read(int fd, Partial &partial, ByteQueue &kept, Limit &&payloadLimit, Sink &&sink) {
        bool assembled = false;
        size_t available = 0;
        ReadStatus status = fill(fd, partial, &assembled, &available);
        if (status != ReadStatus::ok) {
            return status;
        }
        Turn turn = Turn::goesOn;
        if (assembled) {
            whole_ = std::move(partial);
            partial.clear();  // NOLINT(bugprone-use-after-move): which makes it a fresh one
            turn = sink(frameAt(whole_.bytes()));
            if (turn == Turn::comesLater) {
                kept.append(whole_.bytes());
            }
        }
        std::span<const std::byte> rest = std::span{buffer_}.first(available);
        status = turn == Turn::goesOn ? cut(rest, partial, payloadLimit, sink) : ReadStatus::kept;
        if (status == ReadStatus::kept) {
            kept.append(rest);
        }
        return status;
    }

    /** Gives the messages at the front of `rest` to the sink, which leaves those that are not done with; the beginning
     * of a last one goes to `partial`.
     *  @return kept when the sink ended the turn; broken for a payload longer than `payloadLimit()` says before each
     *          message */
    template <typename Limit, typename Sink>
    static ReadStatus cut(std::span<const std::byte> &rest, Partial &partial, Limit &&payloadLimit, Sink &&sink) {
        while (rest.size() >= sizeof(VosMsgHeader)) {
            Frame frame = frameAt(rest);
            if (frame.header.dataLength > payloadLimit()) {
                return ReadStatus::broken;
            }
            const size_t size = sizeof(VosMsgHeader) + frame.header.dataLength;
            if (size > rest.size()) {
                break;
            }
            frame.bytes = rest.first(size);
            const Turn turn = sink(frame);
            if (turn == Turn::comesLater) {
                return ReadStatus::kept;
            }
            rest = rest.subspan(size);
            if (turn == Turn::isOver) {
                return ReadStatus::kept;
            }
        }
        if (!rest.empty()) {
            partial.append(rest);
            rest = {};
        }
        return ReadStatus::ok;
    }

  private:
    static constexpr size_t kBufferSize = size_t{256} * 1024;

    static Frame frameAt(std::span<const std::byte> bytes) {
        Frame frame;
        memcpy(&frame.header, bytes.data(), sizeof frame.header);
        frame.bytes = bytes;
        return frame;
    }

    /** Continues a partial message, or fills the buffer; `available` bytes of the buffer are to be cut into messages.
     */
    ReadStatus fill(int fd, Partial &partial, bool *assembled, size_t *available);

    std::vector<std::byte> buffer_;
    Partial whole_;  // a message put together from pieces
};

}  // namespace hubd
