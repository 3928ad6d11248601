// What the hub routes, copied to this process: decoded, with names.
#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "common/hub_protocol.h"
#include "hub_connection.h"

namespace vosctl {

/** One message as the hub saw it. */
struct Seen {
    hubproto::MonitorRecord record;
    VosMsgHeader header;
    ByteView payload;
    std::string srcName;
    std::string dstName;
};

/** Names of entities, learned from what passes: the hub's list of clients, launches, look-ups, the firmware's table. */
class Names {
  public:
    /** Takes what a message tells about names; payloads may be cut. */
    void learn(const VosMsgHeader &header, ByteView payload);
    /** Empty for one without a name. */
    std::string of(VosEntityId eid) const;
    /** The entity of a name or number; nothing for an unknown name. */
    std::optional<VosEntityId> find(const std::string &nameOrNumber) const;
    /** Whether it is one of the tools of this package. */
    bool isTool(VosEntityId eid) const;

  private:
    void enter(VosEntityId eid, const std::string &name);

    std::map<VosEntityId, std::string> names_{{EID_HUBD, "hubd"}};
    std::map<VosEntityId, std::string> asked_;  // what each requester looks up
};

class Feed {
  public:
    /** Attaches to the hub as a monitor; throws Failure. */
    explicit Feed(Hub &hub);

    /** The message that `msg` is a copy of; nothing for any other. Learns names on the way. */
    std::optional<Seen> read(const VosMsgHeader &msg);
    /** Whether a copied message is one of this process's own. */
    bool isOwn(const VosMsgHeader &copied) const { return copied.src == hub_.eid() || copied.dst == hub_.eid(); }
    const Names &names() const { return names_; }

  private:
    void refresh();

    Hub &hub_;
    Names names_;
};

/** One message as the object that monitor and register print. */
nlohmann::ordered_json messageJson(const Seen &seen);

/** Tells whoever waits for it, on standard error, that nothing is missed from now on. */
void sayAttached();

}  // namespace vosctl
