// Memory of what clients register, counted with the messages.
#pragma once

#include "client.h"
#include "memory.h"

namespace hubd {

/** Nobody is let go for a table's entry: a quarter of the limit is for tables, a quarter of that for one process, and
 *  beyond that a registration is refused. */
class TableRoom {
  public:
    explicit TableRoom(Memory &memory) : memory_{memory} {}

    /** What an entry takes in two containers, the allocator's part included. */
    static constexpr size_t kEntry = 128;

    [[nodiscard]] bool take(const Client &client);
    void give(const Client &client, size_t entries = 1);

  private:
    Memory &memory_;
    size_t used_ = 0;
};

}  // namespace hubd
