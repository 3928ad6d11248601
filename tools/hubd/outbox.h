// Sending to clients: at once where the socket takes it, else through the client's bounded queue.
#pragma once

#include <span>
#include <string>
#include <utility>
#include <vector>

#include "poller.h"

namespace hubd {

/** Clients that have to be disconnected as soon as nobody works with them any more. */
class Departures {
  public:
    /** `why` is reported; an empty one is an ordinary end. A second call for the same client changes nothing. */
    void add(Client &client, std::string why);

    struct Departure {
        Client *client;
        std::string why;
    };
    /** Takes what has gathered. */
    std::vector<Departure> take() { return std::exchange(list_, {}); }
    bool empty() const { return list_.empty(); }

  private:
    std::vector<Departure> list_;
};

class Outbox {
  public:
    Outbox(Poller &poller, Departures &departures, size_t queueLimit)
        : poller_{poller}, departures_{departures}, queueLimit_{queueLimit} {}

    /** Sends `count` whole messages that lie in a row. A client whose queue grows beyond the limit is disconnected; one
     *  message alone always finds room, whatever its size.
     *  @return false when the client cannot receive any more and nothing was sent */
    bool deliver(Client &to, std::span<const std::byte> messages, size_t count);

    /** Sends one message, given in two pieces, only if it leaves half of the queue to the client's own traffic.
     *  @return whether it was sent */
    bool offer(Client &to, std::span<const std::byte> head, std::span<const std::byte> tail);

    /** Sends what waits, after the socket became writable. */
    void drain(Client &client);

  private:
    /** How many bytes the socket took; marks a client whose end is closed as deaf. */
    size_t sendNow(Client &to, std::span<const std::byte> bytes);

    Poller &poller_;
    Departures &departures_;
    size_t queueLimit_;
    std::vector<std::byte> joined_;
};

}  // namespace hubd
