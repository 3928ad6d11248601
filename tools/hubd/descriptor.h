// A connection's descriptor, closed through the seam.
#pragma once

#include <utility>

#include "kernel.h"

namespace hubd {

class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_{fd} {}
    Descriptor(Descriptor &&other) noexcept : fd_{std::exchange(other.fd_, -1)} {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Descriptor() {
        if (fd_ >= 0) {
            kernel::close(fd_);
        }
    }
    int get() const { return fd_; }

  private:
    int fd_ = -1;
};

}  // namespace hubd
