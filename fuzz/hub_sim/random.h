// Numbers of a seed.
#pragma once

#include <cstddef>
#include <cstdint>

namespace hubsim {

class Random {
  public:
    explicit Random(uint64_t seed) : state_{seed} {}

    uint64_t next() {
        state_ += 0x9e3779b97f4a7c15;
        uint64_t mixed = (state_ ^ (state_ >> 30)) * 0xbf58476d1ce4e5b9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111eb;
        return mixed ^ (mixed >> 31);
    }
    /** 0 to `end` - 1. */
    size_t below(size_t end) { return static_cast<size_t>((next() >> 32) * end >> 32); }
    /** True once in `times`. */
    bool once(size_t times) { return below(times) == 0; }

  private:
    uint64_t state_;
};

}  // namespace hubsim
