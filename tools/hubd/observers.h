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
    /** `stopSignals` becomes readable when the hub is to end. */
    Observers(Outbox &outbox, const EntityDirectory &directory, bool trace, int stopSignals)
        : outbox_{outbox}, directory_{directory}, trace_{trace}, stopSignals_{stopSignals} {}

    /** Whether anybody looks on; nothing is formatted or copied otherwise. */
    bool active() const { return trace_ || !monitors_.empty(); }

    void attach(Client &monitor);
    void detach(Client &client);

    void observe(const Frame &frame, hubproto::Verdict verdict);
    /** Writes the trace lines that have gathered, as fast as they are read. */
    void flush();

  private:
    bool awaitReader() const;

    Outbox &outbox_;
    const EntityDirectory &directory_;
    bool trace_;
    int stopSignals_;
    std::string lines_;
    std::vector<Client *> monitors_;
};

}  // namespace hubd
