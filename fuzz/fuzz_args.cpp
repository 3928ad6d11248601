// Argument strings split into vectors: every word comes from the text and nothing of it is lost.
#include <cstdlib>
#include <cstring>
#include <string>

#include "vos/prctl.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text{reinterpret_cast<const char *>(data), size};
    const std::string exe = text.c_str();  // up to the first NUL
    const std::string args = exe.size() < text.size() ? text.substr(exe.size() + 1).c_str() : "";
    char **argv = nullptr;
    if (parseArgs(exe.c_str(), args.c_str(), &argv) != VOS_RET_OK) {
        abort();
    }
    size_t kept = 0;
    for (char **word = argv + (exe.empty() ? 0 : 1); *word != nullptr; word++) {
        kept += strlen(*word);
    }
    size_t expected = 0;
    for (const char c : args) {
        expected += c != ' ' && c != '\t';
    }
    freeArgs(argv);
    return kept == expected ? 0 : (abort(), 0);
}
