// Those who look on: the trace on standard output and attached monitors.
#pragma once

#include <string>
#include <vector>

#include "common/hub_protocol.h"
#include "entity_directory.h"
#include "framing.h"
#include "outbox.h"

namespace hubd {

class Observers {
  public:
    Observers(Outbox &outbox, const EntityDirectory &directory, bool trace)
        : outbox_{outbox}, directory_{directory}, trace_{trace} {}

    /** Whether anybody looks on; nothing is formatted or copied otherwise. */
    bool active() const { return trace_ || !monitors_.empty(); }

    void attach(Client &monitor);
    void detach(Client &client);

    void observe(const VosMsgHeader &header, Payload &payload, hubproto::Verdict verdict);
    /** Writes of the trace what its reader takes now. */
    void flush();
    /** Whether lines wait for the reader of the trace. */
    bool isBehind() const { return !lines_.empty(); }

  private:
    void addLine(const std::string &line);

    Outbox &outbox_;
    const EntityDirectory &directory_;
    bool trace_;
    std::string lines_;
    uint64_t linesLost_ = 0;
    std::vector<Client *> monitors_;
};

}  // namespace hubd
