// Plug-in description files: any bytes as a file, and each of them as one line.
#include <sys/mman.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "vos/mem.h"
#include "vos/plugin_info.h"

namespace {

bool isTrimmed(const char *text) {
    const size_t length = strlen(text);
    return length == 0 || (isspace(static_cast<unsigned char>(text[0])) == 0 &&
                           isspace(static_cast<unsigned char>(text[length - 1])) == 0);
}

}  // namespace

/** The first byte is the size of the caller's buffer, the rest the file. */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0 || data[0] == 0) {
        return 0;
    }
    const int fd = memfd_create("info", MFD_CLOEXEC);
    const ssize_t written = write(fd, data + 1, size - 1);
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    const uint32_t bufSize = data[0];
    const std::unique_ptr<char[]> buf{new char[bufSize]()};
    const bool holds = UTIL_pluginGetInfoName(path.c_str(), buf.get(), bufSize) == VOS_RET_OK &&
                       strnlen(buf.get(), bufSize) < bufSize && (bufSize < 128 || isTrimmed(buf.get()));
    close(fd);
    if (written != static_cast<ssize_t>(size - 1) || !holds) {
        abort();
    }
    const std::string line{reinterpret_cast<const char *>(data + 1), size - 1};
    char *value = util_pluginParseGetVal("Name", line.c_str());
    if (value != nullptr && !isTrimmed(value)) {
        abort();
    }
    VOS_FREE(value);
    return 0;
}
