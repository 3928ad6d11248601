// Which client wants a copy of which events.
#include "interests.h"

#include <new>

namespace hubd {

bool Interests::add(Client &client, uint32_t type) {
    std::unordered_set<uint32_t> &types = byClient_[&client];
    if (types.contains(type)) {
        return true;
    }
    if (types.size() >= kMaxForOneClient || !room_.take(client)) {
        return false;
    }
    try {
        types.insert(type);
        byType_[type].push_back(&client);
        return true;
    } catch (const std::bad_alloc &) {
        types.erase(type);
        room_.give(client);
        return false;
    }
}

VosRet Interests::remove(Client &client, uint32_t type) {
    const auto owned = byClient_.find(&client);
    if (owned == byClient_.end() || owned->second.erase(type) == 0) {
        return VOS_RET_NOT_IN_LIST;
    }
    room_.give(client);
    const auto registered = byType_.find(type);
    std::erase(registered->second, &client);
    if (registered->second.empty()) {
        byType_.erase(registered);
    }
    return VOS_RET_OK;
}

void Interests::forget(Client &client) {
    const auto owned = byClient_.find(&client);
    if (owned == byClient_.end()) {
        return;
    }
    while (!owned->second.empty()) {
        remove(client, *owned->second.begin());
    }
    byClient_.erase(owned);
}

const std::vector<Client *> &Interests::of(uint32_t type) const {
    static const std::vector<Client *> kNobody;
    const auto found = byType_.find(type);
    return found != byType_.end() ? found->second : kNobody;
}

}  // namespace hubd
