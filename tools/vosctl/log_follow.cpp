// Follows a log file: rotation empties it in place and leaves what was read last in the older generation.
#include "log_follow.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "command.h"
#include "output.h"

namespace vosctl {

namespace {

// A file that was removed and made anew is noticed at the latest after this time.
constexpr int kLookAgainMs = 500;

// Prints everything from `offset` on; the offset behind it.
off_t printFrom(int fd, off_t offset) {
    std::array<char, 65536> block;
    ssize_t got = 0;
    while ((got = pread(fd, block.data(), block.size(), offset)) > 0) {
        fwrite(block.data(), 1, static_cast<size_t>(got), stdout);
        offset += got;
    }
    flushOutput();
    return offset;
}

}  // namespace

LogFollower::LogFollower(std::string path, std::string older)
    : path_{std::move(path)}, older_{std::move(older)}, watch_{inotify_init1(IN_CLOEXEC | IN_NONBLOCK)} {}

LogFollower::~LogFollower() {
    close(file_);
    close(watch_);
}

void LogFollower::open() {
    const int fd = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 && file_ < 0) {
        throw Failure{"cannot read '" + path_ + "': " + strerror(errno)};
    }
    if (fd >= 0) {
        close(std::exchange(file_, fd));
        offset_ = 0;
        inotify_add_watch(watch_, path_.c_str(), IN_MODIFY | IN_DELETE_SELF | IN_ATTRIB);
    }
}

void LogFollower::printNew() {
    struct stat held {};
    struct stat named {};
    fstat(file_, &held);
    if (held.st_size < offset_) {
        const int older = ::open(older_.c_str(), O_RDONLY | O_CLOEXEC);
        if (older >= 0) {
            printFrom(older, offset_);
            close(older);
        }
        offset_ = 0;
    }
    offset_ = printFrom(file_, offset_);
    if (stat(path_.c_str(), &named) == 0 && (named.st_ino != held.st_ino || named.st_dev != held.st_dev)) {
        open();
        offset_ = printFrom(file_, offset_);
    }
}

void LogFollower::waitForChange() {
    pollfd waiting{.fd = watch_, .events = POLLIN, .revents = 0};
    poll(&waiting, 1, kLookAgainMs);
    std::array<char, 4096> events;
    while (read(watch_, events.data(), events.size()) > 0) {
    }
}

void LogFollower::run() {
    open();
    for (;;) {
        printNew();
        waitForChange();
    }
}

}  // namespace vosctl
