// Standard output, checked.
#include "output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>

#include "command.h"

namespace vosctl {

void flushOutput() {
    errno = 0;  // an earlier write's reason is gone
    if (fflush(stdout) != 0 || ferror(stdout) != 0) {
        throw Failure{"cannot write the result" + (errno != 0 ? std::string{": "} + strerror(errno) : "")};
    }
}

void printJson(const nlohmann::ordered_json &value) {
    puts(value.dump(-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace).c_str());
}

}  // namespace vosctl
