/** @file
 *  Messages: views, owners, payloads and how they are built. Part of vos/vos.hpp.
 */
#ifndef VOS_HPP_MESSAGE_HPP
#define VOS_HPP_MESSAGE_HPP

#include <cstddef>
#include <cstring>
#include <ranges>
#include <span>
#include <string_view>
#include <type_traits>

#include "vos/hpp/result.hpp"
#include "vos/mem.h"
#include "vos/msg.h"

namespace vos {

/** What can travel as bytes. */
template <typename T>
concept Plain = std::is_trivially_copyable_v<T> && !std::is_pointer_v<T> && !std::is_empty_v<T> &&
                !std::is_convertible_v<const T &, std::string_view> && !std::ranges::range<T>;

/** The bytes that a message is to carry; does not own them. Converts from a plain value, a text (without terminator)
 *  and a contiguous range of plain values. */
class Payload {
  public:
    /** Of nothing, and of what is said above.
     *  @{ */
    Payload() = default;
    template <typename Text>
    requires std::is_convertible_v<const Text &, std::string_view> Payload(const Text &text)
        : bytes_{std::as_bytes(std::span{static_cast<std::string_view>(text)})} {}
    template <Plain T>
    Payload(const T &value) : bytes_{std::as_bytes(std::span{&value, 1})} {}
    template <std::ranges::contiguous_range R>
    requires(std::is_trivially_copyable_v<std::ranges::range_value_t<R>> &&
             !std::is_convertible_v<const R &, std::string_view>) Payload(const R &values)
        : bytes_{std::as_bytes(std::span{std::ranges::data(values), std::ranges::size(values)})} {}
    /** @} */

    /** The bytes, where they lie. */
    std::span<const std::byte> bytes() const noexcept { return bytes_; }

  private:
    std::span<const std::byte> bytes_;
};

/** A message that somebody else owns. */
class MessageView {
  public:
    /** Of a message of the C interface, header and payload in one block. */
    explicit MessageView(const VosMsgHeader *header) noexcept : header_{header} {}

    /** A field of the header.
     *  @{ */
    uint32_t type() const noexcept { return header_->type; }
    VosEntityId source() const noexcept { return header_->src; }
    VosEntityId destination() const noexcept { return header_->dst; }
    uint16_t flags() const noexcept { return header_->flags; }
    bool has(unsigned flag) const noexcept { return (header_->flags & flag) != 0; }
    uint32_t word() const noexcept { return header_->wordData; }
    /** @} */
    /** The payload where it lies. */
    std::span<const std::byte> payload() const noexcept {
        return {reinterpret_cast<const std::byte *>(header_ + 1), header_->dataLength};
    }
    /** The payload as text, up to its first NUL or its end. */
    std::string_view text() const noexcept {
        const auto *begin = reinterpret_cast<const char *>(header_ + 1);
        return {begin, strnlen(begin, header_->dataLength)};
    }
    /** The payload as a T; nothing when it has another size. A procedure's request, which is never shorter than 8
     *  bytes, may hold a smaller T in front. */
    template <Plain T>
    std::optional<T> as() const noexcept {
        const bool padded = has(VOS_MSG_FLAG_SRPC) && has(VOS_MSG_FLAG_REQUEST) && header_->dataLength == 8;
        if (header_->dataLength != sizeof(T) && !(padded && sizeof(T) < 8)) {
            return std::nullopt;
        }
        std::optional<T> value{std::in_place};
        std::memcpy(&*value, header_ + 1, sizeof(T));
        return value;
    }
    /** For the C interface. */
    const VosMsgHeader *header() const noexcept { return header_; }

  protected:
    const VosMsgHeader *header_; /**< header and payload */
};

/** A message of one's own: one block of the memory manager. Moves, never copies. */
class Message : public MessageView {
  public:
    /** Takes a block over, as receiving gives it out; NULL is an empty message, of which only the test is allowed. */
    explicit Message(VosMsgHeader *block = nullptr) noexcept : MessageView{block} {}
    /** @cond */
    Message(Message &&other) noexcept : MessageView{std::exchange(other.header_, nullptr)} {}
    Message &operator=(Message &&other) noexcept {
        if (this != &other) {
            VOS_FREE(block());
            header_ = std::exchange(other.header_, nullptr);
        }
        return *this;
    }
    /** @endcond */
    ~Message() { VOS_FREE(block()); }

    /** A message with type, source, destination, flags, word and payload; empty when memory is short. A procedure's
     *  request is filled up to its 8 bytes with zeroes. */
    static Message build(uint32_t type, VosEntityId source, VosEntityId destination, unsigned flags, uint32_t word,
                         Payload payload = {}) {
        const auto bytes = payload.bytes();
        constexpr unsigned kProcedure = VOS_MSG_FLAG_SRPC | VOS_MSG_FLAG_REQUEST;
        const size_t length = (flags & kProcedure) == kProcedure && bytes.size() < 8 ? 8 : bytes.size();
        if (length > UINT32_MAX - sizeof(VosMsgHeader)) {
            return Message{};
        }
        const auto total = static_cast<uint32_t>(sizeof(VosMsgHeader) + length);
        auto *msg = static_cast<VosMsgHeader *>(VOS_MALLOC_FLAGS(total, 0));
        if (msg != nullptr) {
            *msg = {};
            msg->type = type;
            msg->src = source;
            msg->dst = destination;
            msg->flags = static_cast<uint16_t>(flags);
            msg->wordData = word;
            msg->dataLength = static_cast<uint32_t>(length);
            if (!bytes.empty()) {
                std::memcpy(msg + 1, bytes.data(), bytes.size());
            }
            std::memset(reinterpret_cast<char *>(msg + 1) + bytes.size(), 0, length - bytes.size());
        }
        return Message{msg};
    }
    /** One more of it; empty when memory is short. */
    Message copy() const { return Message{vosMsg_duplicate(header_)}; }

    /** Whether there is one. */
    explicit operator bool() const noexcept { return header_ != nullptr; }
    /** The block, which stays this message's. */
    VosMsgHeader *block() const noexcept { return const_cast<VosMsgHeader *>(header_); }
    /** Gives the block to the caller, who frees it with VOS_FREE. */
    VosMsgHeader *release() noexcept { return const_cast<VosMsgHeader *>(std::exchange(header_, nullptr)); }
};

}  // namespace vos

#endif
