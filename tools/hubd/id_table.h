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
    /** NULL when nobody holds the id. */
    Client *find(VosEntityId eid) const {
        if (eid < kEndOfDynamicIds) [[likely]] {
            const std::vector<Client *> &flat = flat_[eid / kFirstDynamicId];
            const size_t index = eid % kFirstDynamicId;
            return index < flat.size() ? flat[index] : nullptr;
        }
        const auto found = others_.find(eid);
        return found == others_.end() ? nullptr : found->second;
    }

    void insert(VosEntityId eid, Client *client) {
        if (eid >= kEndOfDynamicIds) {
            others_[eid] = client;
            return;
        }
        std::vector<Client *> &flat = flat_[eid / kFirstDynamicId];
        const size_t index = eid % kFirstDynamicId;
        if (index >= flat.size()) {
            flat.resize(index + 1);
        }
        flat[index] = client;
    }

    void erase(VosEntityId eid) {
        if (eid >= kEndOfDynamicIds) {
            others_.erase(eid);
        } else if (find(eid) != nullptr) {
            flat_[eid / kFirstDynamicId][eid % kFirstDynamicId] = nullptr;
        }
    }

  private:
    // Table ids and dynamic ids: one look-up for each message. As long as the highest id that came.
    std::vector<Client *> flat_[kEndOfDynamicIds / kFirstDynamicId];
    std::unordered_map<VosEntityId, Client *> others_;
};

}  // namespace hubd
