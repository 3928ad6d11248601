// Standard output, checked.
#include "output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>

#include "command.h"
#include "common/standard_descriptors.h"

namespace vosctl {

void prepareOutput() {
    const bool closed = fcntl(STDOUT_FILENO, F_GETFD) < 0;
    vostool::openMissingStandardDescriptors();
    if (closed) {
        // In the place of the one that takes everything, one that refuses what is written.
        const int refusing = open("/dev/null", O_RDONLY);
        dup2(refusing, STDOUT_FILENO);
        close(refusing);
    }
    // Written out by flushOutput() only: musl writes the first line at once, and why that failed would be lost.
    setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
}

void flushOutput() {
    errno = 0;  // an earlier write's reason is gone
    std::cout.flush();
    if (fflush(stdout) != 0 || ferror(stdout) != 0) {
        throw Failure{"cannot write the result" + (errno != 0 ? std::string{": "} + strerror(errno) : "")};
    }
}

void printJson(const nlohmann::ordered_json &value) {
    puts(value.dump(-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace).c_str());
}

}  // namespace vosctl
