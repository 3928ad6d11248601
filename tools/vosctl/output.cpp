// Standard output, checked.
#include "output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "command.h"

namespace vosctl {

void flushOutput() {
    errno = 0;  // an earlier write's reason is gone
    if (fflush(stdout) != 0 || ferror(stdout) != 0) {
        throw Failure{"cannot write the result" + (errno != 0 ? std::string{": "} + strerror(errno) : "")};
    }
}

}  // namespace vosctl
