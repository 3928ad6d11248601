// Commands as a person types them: output, errors and exit status.
#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "support/files.h"

namespace vostest {

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

inline Outcome shell(const std::string &command) {
    const TempDir dir;
    const std::string files = " >" + (dir / "out").string() + " 2>" + (dir / "err").string();
    const int status = system(("{ " + command + "; }" + files).c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readText(dir / "out"), readText(dir / "err")};
}

/** The vosctl of this build. */
inline Outcome vosctl(const std::string &arguments) {
    return shell(std::string{VOS_TEST_BIN_DIR "/vosctl "} + arguments);
}

}  // namespace vostest
