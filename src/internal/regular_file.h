// Regular files below directories that others may write to: what a neighbour puts in their place is never followed,
// waited for or written to.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include "internal/guards.h"

namespace vos {

/** Opens `name` below `directory` (AT_FDCWD for a path); without a descriptor, errno says why: ELOOP for a link, ENXIO
 *  for a pipe, socket or device. O_NONBLOCK ends the wait for a pipe's other end and for a lease. */
inline UniqueFd openRegular(int directory, const char *name, int flags) {
    UniqueFd fd{openat(directory, name, flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666)};
    struct stat status;
    if (fd && (fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode))) {
        errno = ENXIO;
        fd.reset();
    }
    return fd;
}

/** As openRegular(), makes the file where there is none. Never O_CREAT on one that exists: in a directory for all a
 *  kernel may refuse that for another user's file. */
inline UniqueFd openOrMakeRegular(int directory, const char *name, int flags) {
    UniqueFd fd = openRegular(directory, name, flags);
    if (!fd && errno == ENOENT) {
        fd = openRegular(directory, name, flags | O_CREAT | O_EXCL);
    }
    if (!fd && errno == EEXIST) {
        fd = openRegular(directory, name, flags);  // another process has just made it
    }
    return fd;
}

}  // namespace vos
