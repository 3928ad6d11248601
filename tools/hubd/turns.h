// Whose turn it is. Every process has the same share of the hub however many connections it has: whoever used least of
// it lately comes first, so that those who ask for little never wait for those who ask for much (start-time fair
// queueing).
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "client.h"

namespace hubd {

/** Work is counted in units of about a microsecond: a message, a copy of an event, or 8 KiB moved. */
constexpr size_t kBytesAUnit = 8192;
inline uint64_t unitsOf(size_t bytes) {
    return bytes / kBytesAUnit;
}

/** All connections of one process id. */
struct Process {
    pid_t pid = 0;
    size_t connections = 0;
    uint64_t tag = 0;   // the share that it has used up, on the scale of all
    size_t tables = 0;  // bytes of what it has registered
    size_t held = 0;    // bytes, at the last look for who holds most
    bool inLine = false;
    Client *firstInLine = nullptr;
    Client *lastInLine = nullptr;
};

class Turns {
  public:
    void enter(Client &client);
    void leave(Client &client);

    /** Gives the client a turn when it is its process's; nothing for one that has a turn coming. */
    void add(Client &client);
    bool empty() const { return line_.empty(); }
    /** Takes the next one out of the line; NULL when nobody of the process waits any more. */
    Client *next();
    /** Puts the work of its turn on the process's account. */
    void charge(const Client &client, uint64_t units);

  private:
    struct Place {
        uint64_t tag;
        Process *process;
        bool operator<(const Place &other) const { return tag > other.tag; }  // the heap's top is the smallest
    };
    void lineUp(Process &process);
    void forget(Process &process);

    std::unordered_map<pid_t, Process> processes_;
    std::vector<Place> line_;  // a heap
    uint64_t now_ = 0;         // the tag of who was served last
};

}  // namespace hubd
