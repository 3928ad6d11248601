// All descriptions of a directory, and which of them a message belongs to.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "common/interface/codec.h"

namespace iface {

/** A message and the interface that it is of. */
struct Known {
    const Interface *interface = nullptr;
    const Message *message = nullptr;
    bool reply = false;

    explicit operator bool() const { return message != nullptr; }
    std::string name() const { return interface->name + "." + message->name; }
};

class Store {
  public:
    /** Reads every NAME.toml of a directory; what is none is left out and told by mistakes(). */
    explicit Store(const std::string &directory);

    const std::deque<Interface> &interfaces() const { return interfaces_; }
    const std::vector<Mistake> &mistakes() const { return mistakes_; }
    const Interface *find(std::string_view interface) const;
    /** "meshd.addNode". */
    Known find(const std::string &interface, const std::string &message) const;
    /** By what a header says; of another kind of message of the type where there is none of the same. */
    Known find(uint32_t type, uint16_t flags, uint32_t word) const;

  private:
    std::deque<Interface> interfaces_;
    std::vector<Mistake> mistakes_;
};

}  // namespace iface
