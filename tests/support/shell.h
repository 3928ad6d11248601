// A command line run to its end, with what it printed.
#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "support/files.h"

namespace vostest {

struct Outcome {
    int status;  // exit status, -1 after a signal
    std::string out;
    std::string err;
};

inline Outcome shell(const std::string &command) {
    const TempDir dir;
    const std::string files = " >" + (dir / "out").string() + " 2>" + (dir / "err").string();
    const int status = system(("{ " + command + "; }" + files).c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readText(dir / "out"), readText(dir / "err")};
}

inline Outcome vosctl(const std::string &arguments) {
    return shell("'" VOS_TEST_BIN_DIR "/vosctl' " + arguments);
}

}  // namespace vostest
