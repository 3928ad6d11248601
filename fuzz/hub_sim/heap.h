// The hub's heap: counted, and failing when asked to.
#pragma once

#include <cstddef>

namespace hubsim {

/** Says who takes blocks from now on: the hub or its simulation. */
class HeapOwner {
  public:
    explicit HeapOwner(bool hub);
    ~HeapOwner();
    HeapOwner(const HeapOwner &) = delete;
    HeapOwner &operator=(const HeapOwner &) = delete;

  private:
    bool before_;
};

struct HeapUse {
    size_t blocks;
    size_t bytes;
};
/** What the hub holds. */
HeapUse hubHeap();

/** Lets the hub's `nth` allocation from now on fail, and those after it, `row` in all; 0: none. */
void failAllocation(size_t nth, size_t row = 1);

}  // namespace hubsim
