// Sending to clients: at once where the socket takes it, else through the client's queue.
#pragma once

#include <span>
#include <string>

#include "memory.h"
#include "poller.h"

namespace hubd {

/** Clients that have to be disconnected as soon as nobody works with them any more. Takes no memory. */
class Departures {
  public:
    /** `why` is reported; an empty one is an ordinary end. A second call for the same client changes nothing. */
    void add(Client &client, std::string why);
    /** For want of memory, which is reported too. */
    void addForMemory(Client &client);
    /** The next one; NULL when there is none. */
    Client *take();
    bool empty() const { return first_ == nullptr; }

  private:
    Client *first_ = nullptr;
};

/** A payload that goes to several clients: one copy, made when the first of them cannot take it at once. */
class Payload {
  public:
    Payload(std::span<const std::byte> bytes, BlockRef block = {}) : bytes_{bytes}, block_{std::move(block)} {}

    std::span<const std::byte> bytes() const { return bytes_; }
    /** The block that holds the bytes; empty for few bytes, and when memory is short. */
    const BlockRef &share(Memory &memory, const Client &asking);

  private:
    std::span<const std::byte> bytes_;
    BlockRef block_;
};

class Outbox {
  public:
    Outbox(Memory &memory, Departures &departures, size_t queueLimit)
        : memory_{memory}, departures_{departures}, queueLimit_{queueLimit} {}

    /** Sends `count` whole messages that lie in a row, in `block` where that is not empty.
     *  @return false when the client cannot receive any more and nothing was sent */
    bool deliver(Client &to, std::span<const std::byte> messages, size_t count, const BlockRef &block);

    /** Sends one message, its header apart from its payload, with the same result. */
    bool deliver(Client &to, std::span<const std::byte> header, Payload &payload);

    /** The same, but only if it leaves half of the queue to the client's own traffic.
     *  @return whether it was sent */
    bool offer(Client &to, std::span<const std::byte> header, Payload &payload);

    /** Sends what waits, after the socket became writable; returns how many bytes it took. */
    size_t drain(Client &client);

    Memory &memory() { return memory_; }

  private:
    /** How many bytes the socket took; marks a client whose end is closed as deaf. */
    size_t sendNow(Client &to, std::span<const iovec> pieces);
    void queue(Client &to, std::span<const std::byte> head, std::span<const std::byte> tail, const BlockRef &shared);

    Memory &memory_;
    Departures &departures_;
    size_t queueLimit_;
};

}  // namespace hubd
