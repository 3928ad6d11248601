// The kernel as the simulated hub meets it: sockets that take and give as much as they like, a clock that jumps.
#pragma once

#include <sys/epoll.h>
#include <sys/uio.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "random.h"
#include "vos/msg_types.h"

namespace hubsim {

constexpr int64_t kMs = 1'000'000;
/** The descriptors that the hub's own do not have: of its listener and of its signals. */
constexpr int kListenFd = 3;
constexpr int kSignalFd = 4;

/** What is on its way in one direction. */
class Channel {
  public:
    explicit Channel(size_t capacity) : capacity_{capacity} {}
    size_t size() const { return bytes_.size() - head_; }
    size_t room() const { return capacity_ - (size() < capacity_ ? size() : capacity_); }
    void put(const std::byte *bytes, size_t count);
    size_t get(std::byte *out, size_t most);
    std::span<const std::byte> waiting() const { return std::span{bytes_}.subspan(head_); }
    void drop(size_t count);

  private:
    size_t capacity_;
    size_t head_ = 0;
    std::vector<std::byte> bytes_;
};

/** The messages that the hub sends to somebody: whole ones, addressed to that client. */
class Stream {
  public:
    void pass(const std::byte *bytes, size_t count);

  private:
    VosMsgHeader header_{};
    size_t ofHeader_ = 0;
    size_t left_ = 0;  // of its payload
    VosEntityId eid_ = 0;
};

/** One connection. Both ends hold it; a number of the hub's names it until the hub closes it. */
struct Connection {
    Connection(size_t toHubRoom, size_t toClientRoom) : toHub{toHubRoom}, toClient{toClientRoom} {}
    Channel toHub;
    Channel toClient;
    Stream sent;
    int pid = 0;
    int fd = -1;  // the hub's; below 0 before it accepts and after it closes
    uint32_t watched = 0;
    bool toldOfEnd = false;  // an edge, for a watcher that asks for nothing else
    bool clientClosed = false;
    bool hubClosed = false;
    bool refuses = false;     // sends to it fail for want of memory
    uint64_t waitsSince = 0;  // turn of the hub from which on it could have read something that is here; 0: nothing is
};

class World {
  public:
    explicit World(Random &random) : random_{random} {}

    // What clients do.
    std::shared_ptr<Connection> connect(int pid, size_t toHubRoom, size_t toClientRoom);
    void close(Connection &connection) { connection.clientClosed = true; }

    // What the hub does; results as those of the system calls, errno included.
    int accept();
    ssize_t receive(int fd, std::span<const iovec> pieces);
    ssize_t send(int fd, std::span<const iovec> pieces);
    void closeByHub(int fd);
    void watch(int fd, uint32_t events);
    /** The hub's connection; none is a finding. */
    Connection &at(int fd);

    /** Events of what is ready now, of some of it in any order; `data.fd` as watched. */
    size_t ready(std::span<epoll_event> events);

    int64_t nowNs() const { return nowNs_; }
    void pass(int64_t ns) { nowNs_ += ns; }

    /** Calls of the hub that moved something, so far: a hub that is told of events and does nothing spins. */
    uint64_t calls() const { return calls_; }
    uint64_t turns() const { return turns_; }
    size_t connections() const;
    void setDescriptors(size_t most) { descriptors_ = most; }
    /** Whether the hub may meet failing allocations where they hurt most. */
    void setAllocationsFail(bool fail) { allocationsFail_ = fail; }

  private:
    static constexpr int kFirstFd = 5;
    static constexpr size_t kOfAPlace = 8192;  // bytes of a client that has nothing waiting

    Random &random_;
    std::vector<std::shared_ptr<Connection>> byFd_;
    std::vector<std::shared_ptr<Connection>> backlog_;
    std::vector<int> order_;
    size_t descriptors_ = 1 << 20;
    int64_t nowNs_ = int64_t{1} << 40;
    uint64_t calls_ = 0;
    uint64_t turns_ = 1;
    uint64_t closedAtCall_ = 0;
    size_t heldAtClose_ = 0;
    bool listenerWatched_ = false;
    bool allocationsFail_ = false;
};

}  // namespace hubsim
