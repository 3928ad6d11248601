// Which client wants a copy of which events.
#pragma once

#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "table_room.h"
#include "vos/ret.h"

namespace hubd {

class Interests {
  public:
    explicit Interests(TableRoom &room) : room_{room} {}

    static constexpr size_t kMaxForOneClient = 4096;

    /** A second registration of the same type changes nothing.
     *  @return false when the client has too many already, or memory is short */
    bool add(Client &client, uint32_t type);
    VosRet remove(Client &client, uint32_t type);
    void forget(Client &client);

    /** Those registered for a type, in order of registration. */
    const std::vector<Client *> &of(uint32_t type) const;

  private:
    TableRoom &room_;
    std::unordered_map<uint32_t, std::vector<Client *>> byType_;
    std::unordered_map<const Client *, std::unordered_set<uint32_t>> byClient_;
};

}  // namespace hubd
