// One way for process A to talk to process B through a third process, and the processes behind it.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace bench {

/** Process A's end. Every failure ends the program with a message. */
class Client {
  public:
    virtual ~Client() = default;
    /** Sends a request; B answers with the same payload. */
    virtual void roundTrip(size_t payload) = 0;
    /** Sends `count` messages without an answer, then waits until B has read the last. */
    virtual void events(size_t payload, size_t count) = 0;
};

struct System {
    std::string name;
    std::vector<pid_t> processes;  // router first, then B
    std::unique_ptr<Client> client;
};

constexpr size_t kLargestPayload = 16384;

/** The library, through vos-hubd. */
System startVos();
/** The least that a router can do: a relay over two Unix sockets, header and payload read in two steps. */
System startFloor();
/** libdbus, through a dbus-daemon of its own. */
System startDbus();
/** The same processes and connection as `vos`, requests with the SRPC flag. `vos` outlives it. */
std::unique_ptr<Client> srpcClient(const System &vos);

/** A child that ends with this process. */
pid_t spawn(const std::function<void()> &body);
[[noreturn]] void fail(const std::string &what);

}  // namespace bench
