// Names and ids: the firmware's table, entities added at run time, and names that got a dynamic id.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "common/hub_protocol.h"
#include "id_table.h"
#include "vos/ret.h"

namespace hubd {

/** A name is 64 bytes at most, its NUL included; the library sends no longer ones. */
constexpr size_t kMaxName = 63;

class EntityDirectory {
  public:
    static constexpr size_t kMaxAdded = 1024;

    explicit EntityDirectory(const IdTable &ids) : ids_{ids} {}

    /** The id that a process of this name gets: its row's, its added row's, the one its predecessor held if it is free,
     *  or a new dynamic one. Nothing when all dynamic ids are taken. */
    std::optional<VosEntityId> idForLaunch(const std::string &name);

    /** Whoever holds an id can be looked up by its name while it is connected. */
    void enter(const std::string &name, VosEntityId eid);
    void leave(const std::string &name, VosEntityId eid);

    /** Lets the next process of this name have another dynamic id than this. */
    void retire(const std::string &name, VosEntityId eid);

    /** The id of a name: a row's, an added row's, or that of the running process; of several the latest one's. 0 for an
     *  unknown name. */
    VosEntityId idOf(const std::string &name) const;

    /** The name of an id: the running process's, or the row's. Empty for an unknown id. */
    std::string nameOf(VosEntityId eid) const;

    VosRet add(const hubproto::EntityDescription &description);
    VosRet remove(const std::string &name);

  private:
    std::optional<VosEntityId> newDynamicId();
    void remember(const std::string &name, VosEntityId eid);
    std::optional<VosEntityId> fixedIdOf(const std::string &name) const;

    const IdTable &ids_;
    std::unordered_map<std::string, VosEntityId> added_;
    std::unordered_map<VosEntityId, std::string> addedIds_;                // by the name that was added first
    std::unordered_map<std::string, VosEntityId> dynamic_;                 // the last id of a name
    std::unordered_map<VosEntityId, const std::string *> names_;           // the name in dynamic_ by its id
    std::unordered_map<std::string, std::vector<VosEntityId>> connected_;  // in order of announcement
    VosEntityId nextDynamic_ = kFirstDynamicId;
};

}  // namespace hubd
