// Bytes that wait: for a client's socket to take them, or for its turn to be served.
#pragma once

#include <cstddef>
#include <cstring>
#include <span>
#include <vector>

namespace hubd {

class ByteQueue {
  public:
    size_t size() const { return bytes_.size() - head_; }
    bool empty() const { return size() == 0; }
    std::span<const std::byte> waiting() const { return std::span{bytes_}.subspan(head_); }

    void append(std::span<const std::byte> bytes) {
        if (head_ >= kKeptCapacity && head_ > bytes_.size() / 2) {
            bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<ptrdiff_t>(head_));
            head_ = 0;
        }
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    }

    void consume(size_t count) {
        head_ += count;
        if (!empty()) {
            return;
        }
        head_ = 0;
        bytes_.clear();
        if (bytes_.capacity() > kKeptCapacity) {
            bytes_.shrink_to_fit();
        }
    }

  private:
    static constexpr size_t kKeptCapacity = size_t{64} * 1024;
    std::vector<std::byte> bytes_;
    size_t head_ = 0;
};

}  // namespace hubd
