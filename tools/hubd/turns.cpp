// The line of processes.
#include "turns.h"

#include <algorithm>

namespace hubd {

void Turns::enter(Client &client) {
    Process &process = processes_[client.credentials.pid];
    process.pid = client.credentials.pid;
    if (line_.capacity() < processes_.size()) {
        line_.reserve(2 * processes_.size());  // lining up must not fail later
    }
    process.connections++;
    client.process = &process;
}

void Turns::leave(Client &client) {
    Process &process = *client.process;
    if (client.inLine) {
        Client *before = nullptr;
        for (Client *each = process.firstInLine; each != &client; each = each->nextInLine) {
            before = each;
        }
        (before == nullptr ? process.firstInLine : before->nextInLine) = client.nextInLine;
        process.lastInLine = process.lastInLine == &client ? before : process.lastInLine;
        client.inLine = false;
    }
    process.connections--;
    forget(process);
}

void Turns::add(Client &client) {
    if (client.inLine) {
        return;
    }
    Process &process = *client.process;
    client.inLine = true;
    client.nextInLine = nullptr;
    (process.firstInLine == nullptr ? process.firstInLine : process.lastInLine->nextInLine) = &client;
    process.lastInLine = &client;
    lineUp(process);
}

void Turns::lineUp(Process &process) {
    if (!process.inLine) {
        process.inLine = true;
        process.tag = std::max(process.tag, now_);
        line_.push_back({process.tag, &process});
        std::push_heap(line_.begin(), line_.end());
    }
}

Client *Turns::next() {
    std::pop_heap(line_.begin(), line_.end());
    Process &process = *line_.back().process;
    now_ = line_.back().tag;
    line_.pop_back();
    process.inLine = false;
    Client *client = process.firstInLine;
    if (client == nullptr) {
        forget(process);
        return nullptr;
    }
    process.firstInLine = client->nextInLine;
    client->inLine = false;
    return client;
}

void Turns::charge(const Client &client, uint64_t units) {
    Process &process = *client.process;
    process.tag += units;
    if (process.firstInLine != nullptr) {
        lineUp(process);
    }
}

// A process that still stands in the line goes when it comes to its front.
void Turns::forget(Process &process) {
    if (process.connections == 0 && !process.inLine) {
        processes_.erase(process.pid);
    }
}

}  // namespace hubd
