// Bounded reading and building of byte strings. Every byte that comes from outside passes through ByteReader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace vos {

/** Reads from the front of a byte string. A read beyond the end gives zero or an empty view and leaves the reader
 *  failed; a failed reader stays failed, so a run of reads can be checked once at its end. */
class ByteReader {
  public:
    ByteReader(const void *data, size_t size) : data_{static_cast<const uint8_t *>(data)}, size_{size} {}
    explicit ByteReader(std::span<const uint8_t> bytes) : ByteReader{bytes.data(), bytes.size()} {}

    bool ok() const { return !failed_; }
    size_t position() const { return position_; }
    size_t remaining() const { return size_ - position_; }
    /** Moves to an absolute position; beyond the end the reader fails. */
    void seek(size_t position) {
        if (position > size_) {
            failed_ = true;
        } else {
            position_ = position;
        }
    }

    std::span<const uint8_t> bytes(size_t count) {
        if (failed_ || count > remaining()) {
            failed_ = true;
            return {};
        }
        const std::span<const uint8_t> result{data_ + position_, count};
        position_ += count;
        return result;
    }
    void skip(size_t count) { bytes(count); }

    uint8_t u8() {
        const auto b = bytes(1);
        return b.empty() ? uint8_t{0} : b[0];
    }
    uint16_t u16be() {
        const auto b = bytes(2);
        return b.empty() ? uint16_t{0} : static_cast<uint16_t>(b[0] << 8 | b[1]);
    }
    uint32_t u32be() {
        const uint32_t high = u16be();
        return high << 16 | u16be();
    }
    uint32_t u32le() {
        const auto b = bytes(4);
        return b.empty() ? 0
                         : static_cast<uint32_t>(b[0]) | static_cast<uint32_t>(b[1]) << 8 |
                               static_cast<uint32_t>(b[2]) << 16 | static_cast<uint32_t>(b[3]) << 24;
    }
    /** A value in the byte order of this machine, as messages between processes carry it. */
    template <typename T>
    T native() {
        T value{};
        const auto b = bytes(sizeof(T));
        if (!b.empty()) {
            memcpy(&value, b.data(), sizeof(T));
        }
        return value;
    }
    /** A text up to its NUL, which is consumed; fails when the bytes end first. */
    std::string_view terminatedText() {
        const void *end = failed_ || remaining() == 0 ? nullptr : memchr(data_ + position_, 0, remaining());
        if (end == nullptr) {
            failed_ = true;
            return {};
        }
        const size_t length = static_cast<size_t>(static_cast<const uint8_t *>(end) - (data_ + position_));
        const std::string_view text{reinterpret_cast<const char *>(data_ + position_), length};
        position_ += length + 1;
        return text;
    }

  private:
    const uint8_t *data_;
    size_t size_;
    size_t position_ = 0;
    bool failed_ = false;
};

/** Appends to a buffer of fixed size. What does not fit is not written and leaves the writer failed. */
class ByteWriter {
  public:
    ByteWriter(void *data, size_t size) : data_{static_cast<uint8_t *>(data)}, size_{size} {}

    bool ok() const { return !failed_; }
    size_t position() const { return position_; }

    void bytes(const void *source, size_t count) {
        if (failed_ || count > size_ - position_) {
            failed_ = true;
            return;
        }
        if (count != 0) {
            memcpy(data_ + position_, source, count);
            position_ += count;
        }
    }
    void text(std::string_view value) { bytes(value.data(), value.size()); }
    /** A text and its terminator. */
    void terminatedText(std::string_view value) {
        text(value);
        u8(0);
    }
    void u8(uint8_t value) { bytes(&value, 1); }
    void u16be(uint16_t value) {
        u8(static_cast<uint8_t>(value >> 8));
        u8(static_cast<uint8_t>(value));
    }
    void u32be(uint32_t value) {
        u16be(static_cast<uint16_t>(value >> 16));
        u16be(static_cast<uint16_t>(value));
    }
    void u32le(uint32_t value) {
        for (unsigned shift = 0; shift < 32; shift += 8) {
            u8(static_cast<uint8_t>(value >> shift));
        }
    }
    template <typename T>
    void native(const T &value) {
        bytes(&value, sizeof(T));
    }

  private:
    uint8_t *data_;
    size_t size_;
    size_t position_ = 0;
    bool failed_ = false;
};

}  // namespace vos
