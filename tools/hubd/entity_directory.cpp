// Names and ids.
#include "entity_directory.h"

#include <cstring>

#include "vos/eid.h"

namespace hubd {

namespace {

std::optional<VosEntityId> tableIdOf(const std::string &name) {
    const EntityInfo *row = vosEid_getEntityInfoByStringName(name.c_str());
    return row != nullptr ? std::optional{row->eid} : std::nullopt;
}

/** Empty for an id that is not in the firmware's table. */
std::string tableNameOf(VosEntityId eid) {
    char name[64] = "";
    vosEid_getAppName(name, sizeof name, eid);
    return name;
}

}  // namespace

std::optional<VosEntityId> EntityDirectory::fixedIdOf(const std::string &name) const {
    if (const auto eid = tableIdOf(name)) {
        return eid;
    }
    const auto found = added_.find(name);
    return found != added_.end() ? std::optional{found->second} : std::nullopt;
}

std::optional<VosEntityId> EntityDirectory::newDynamicId() {
    for (VosEntityId tried = kFirstDynamicId; tried < kEndOfDynamicIds; tried++) {
        const VosEntityId eid = nextDynamic_;
        nextDynamic_ = eid + 1 < kEndOfDynamicIds ? eid + 1 : kFirstDynamicId;
        if (ids_.find(eid) == nullptr && !addedIds_.contains(eid)) {
            return eid;
        }
    }
    return std::nullopt;
}

std::optional<VosEntityId> EntityDirectory::idForLaunch(const std::string &name) {
    if (const auto fixed = fixedIdOf(name)) {
        return fixed;
    }
    if (name.empty()) {
        return newDynamicId();
    }
    // A daemon that comes back keeps its id, so that peers who know it need not look it up again.
    const auto last = dynamic_.find(name);
    if (last != dynamic_.end() && ids_.find(last->second) == nullptr) {
        return last->second;
    }
    const auto eid = newDynamicId();
    if (eid) {
        remember(name, *eid);
    }
    return eid;
}

// An id belongs to the last name that got it, so there are never more names than dynamic ids.
void EntityDirectory::remember(const std::string &name, VosEntityId eid) {
    if (const auto former = names_.find(eid); former != names_.end()) {
        dynamic_.erase(*former->second);
        names_.erase(former);
    }
    const auto [entry, isNew] = dynamic_.try_emplace(name, eid);
    if (!isNew) {
        names_.erase(entry->second);
        entry->second = eid;
    }
    names_[eid] = &entry->first;
}

void EntityDirectory::enter(const std::string &name, VosEntityId eid) {
    connected_[name].push_back(eid);
}

void EntityDirectory::leave(const std::string &name, VosEntityId eid) {
    const auto found = connected_.find(name);
    if (found == connected_.end()) {
        return;
    }
    std::erase(found->second, eid);
    if (found->second.empty()) {
        connected_.erase(found);
    }
}

void EntityDirectory::retire(const std::string &name, VosEntityId eid) {
    const auto last = dynamic_.find(name);
    if (last != dynamic_.end() && last->second == eid) {
        names_.erase(eid);
        dynamic_.erase(last);
    }
}

VosEntityId EntityDirectory::idOf(const std::string &name) const {
    if (const auto fixed = fixedIdOf(name)) {
        return *fixed;
    }
    const auto last = dynamic_.find(name);
    const Client *holder = last != dynamic_.end() ? ids_.find(last->second) : nullptr;
    if (holder != nullptr && holder->name == name) {
        return last->second;
    }
    const auto found = connected_.find(name);
    return found != connected_.end() ? found->second.back() : 0;
}

std::string EntityDirectory::nameOf(VosEntityId eid) const {
    if (const Client *client = ids_.find(eid); client != nullptr && !client->name.empty()) {
        return client->name;
    }
    if (std::string name = tableNameOf(eid); !name.empty()) {
        return name;
    }
    const auto found = addedIds_.find(eid);
    return found != addedIds_.end() ? found->second : std::string{};
}

VosRet EntityDirectory::add(const hubproto::EntityDescription &description) {
    const size_t length = strnlen(description.name, sizeof description.name);
    const std::string name{description.name, length};
    if (length == 0 || length == sizeof description.name || tableIdOf(name)) {
        return VOS_RET_BAD_ARG;
    }
    const auto holder = addedIds_.find(description.eid);
    const bool isTaken = holder != addedIds_.end() && holder->second != name;
    if (description.eid != 0 && (isTaken || !tableNameOf(description.eid).empty())) {
        return VOS_RET_BAD_ARG;
    }
    if (added_.size() >= kMaxAdded && !added_.contains(name)) {
        return VOS_RET_NO_RESOURCE;
    }
    const VosEntityId known = description.eid != 0 ? description.eid : idOf(name);
    const auto eid = known != 0 ? std::optional{known} : idForLaunch(name);
    if (!eid) {
        return VOS_RET_NO_RESOURCE;
    }
    remove(name);
    addedIds_.try_emplace(*eid, name);
    added_[name] = *eid;
    return VOS_RET_OK;
}

VosRet EntityDirectory::remove(const std::string &name) {
    const auto found = added_.find(name);
    if (found == added_.end()) {
        return VOS_RET_NOT_IN_LIST;
    }
    if (const auto id = addedIds_.find(found->second); id != addedIds_.end() && id->second == name) {
        addedIds_.erase(id);
    }
    added_.erase(found);
    return VOS_RET_OK;
}

}  // namespace hubd
