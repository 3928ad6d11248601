// Where a Unix socket lies.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <string>

namespace vostest {

/** The address of a path, as bind() and connect() take it. */
class UnixAddress {
  public:
    explicit UnixAddress(const std::string &path) {
        strncpy(address_.sun_path, path.c_str(), sizeof address_.sun_path - 1);
    }
    const sockaddr *get() const { return reinterpret_cast<const sockaddr *>(&address_); }
    static constexpr socklen_t size() { return sizeof(sockaddr_un); }

  private:
    sockaddr_un address_{.sun_family = AF_UNIX, .sun_path = {}};
};

}  // namespace vostest
