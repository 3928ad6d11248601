// epoll, with the interest of clients changed only when it differs.
#pragma once

#include <sys/epoll.h>

#include <array>
#include <span>

#include "client.h"

namespace hubd {

class Poller {
  public:
    Poller();

    /** Starts watching for input; false when the system lacks memory for it. */
    [[nodiscard]] bool add(int fd);
    void remove(int fd);
    /** Watches a client for what its state asks for: input unless it has to wait, output while something
     *  waits for it. */
    void update(Client &client);

    /** Waits `timeoutMs` (-1: without limit); the events are valid until the next call. */
    std::span<const epoll_event> wait(int timeoutMs);

  private:
    vos::UniqueFd fd_;
    std::array<epoll_event, 128> events_;
};

}  // namespace hubd
