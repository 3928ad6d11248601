// Two processes that behave, and how long their round trips take.
#pragma once

#include "connection.h"
#include "hub_child.h"

namespace load {

struct Figures {
    double medianUs, p99Us;
    double workP99Us;  // processor time of the hub during a round trip
};

/** Two processes with a connection each; this one asks, the other one answers. */
class Pair {
  public:
    explicit Pair(const Hub &hub);
    /** 3,000 round trips of 64 bytes, or as many as 5 seconds hold. */
    Figures trips();

  private:
    const Hub &hub_;
    Connection asking_;
    Child answering_;
    VosEntityId peer_;
};

}  // namespace load
