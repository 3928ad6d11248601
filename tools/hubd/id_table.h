// Who holds which entity id.
#pragma once

#include <unordered_map>
#include <vector>

#include "client.h"

namespace hubd {

/** Ids that the hub hands out itself. */
constexpr VosEntityId kFirstDynamicId = 0x10000;
constexpr VosEntityId kEndOfDynamicIds = 0x20000;

class IdTable {
  public:
    IdTable() : flat_(kEndOfDynamicIds) {}

    /** NULL when nobody holds the id. */
    Client *find(VosEntityId eid) const {
        if (eid < flat_.size()) [[likely]] {
            return flat_[eid];
        }
        const auto found = others_.find(eid);
        return found == others_.end() ? nullptr : found->second;
    }

    void insert(VosEntityId eid, Client *client) {
        if (eid < flat_.size()) {
            flat_[eid] = client;
        } else {
            others_[eid] = client;
        }
    }

    void erase(VosEntityId eid) {
        if (eid < flat_.size()) {
            flat_[eid] = nullptr;
        } else {
            others_.erase(eid);
        }
    }

  private:
    std::vector<Client *> flat_;  // table ids and dynamic ids: one look-up for each message
    std::unordered_map<VosEntityId, Client *> others_;
};

}  // namespace hubd
