// Descriptors 0 to 2 of a program that was started without some of them.
#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace vostool {

/** Opens /dev/null in place of those that are closed, so that no socket gets the number of standard output. */
inline void openMissingStandardDescriptors() {
    int fd = 0;
    while ((fd = open("/dev/null", O_RDWR)) >= 0 && fd <= STDERR_FILENO) {
    }
    if (fd > STDERR_FILENO) {
        close(fd);
    }
}

}  // namespace vostool
