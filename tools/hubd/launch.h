// The first message of a process: who it is and which id it gets.
#pragma once

#include "entity_directory.h"
#include "router.h"
#include "services.h"

namespace hubd {

/** An announcement holds a name and a path, nothing longer. */
constexpr size_t kMaxAnnouncement = 4096;

class Launcher {
  public:
    Launcher(ClientWalk &clients, IdTable &ids, EntityDirectory &directory, Router &router, Services &services)
        : clients_{clients}, ids_{ids}, directory_{directory}, router_{router}, services_{services} {}

    /** Gives the client its id and answers, and tells those who wait for the id's return.
     *  @return why the client is refused; empty for success */
    std::string launch(Client &client, const Frame &frame);

  private:
    ClientWalk &clients_;
    IdTable &ids_;
    EntityDirectory &directory_;
    Router &router_;
    Services &services_;
};

}  // namespace hubd
