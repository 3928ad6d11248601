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

// Anybody may put anything in the file's place; -1 with errno, ENXIO for what is no file.
int openLog(const std::string &path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    struct stat status {};
    if (fd >= 0 && (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode))) {
        close(fd);
        errno = S_ISDIR(status.st_mode) ? EISDIR : ENXIO;
        return -1;
    }
    return fd;
}

}  // namespace

void PrintableLog::print(std::string_view text) {
    constexpr std::string_view kColourStart = "\033[";
    constexpr size_t kLongestColour = 16;
    for (const char c : text) {
        const bool begins = colour_.size() < kColourStart.size() && kColourStart[colour_.size()] == c;
        const bool goesOn = colour_.size() >= kColourStart.size() && colour_.size() < kLongestColour &&
                            ((c >= '0' && c <= '9') || c == ';' || c == 'm');
        if (begins || goesOn) {
            colour_ += c;
            if (c == 'm') {
                fwrite(colour_.data(), 1, colour_.size(), stdout);
                colour_.clear();
            }
            continue;
        }
        for (const char held : colour_) {
            fputc(held < ' ' ? '.' : held, stdout);
        }
        colour_.clear();
        if (c == kColourStart[0]) {
            colour_ = c;
        } else {
            fputc((c >= ' ' && c <= '~') || c == '\n' || c == '\t' ? c : '.', stdout);
        }
    }
}

// Prints everything from `offset` on; the offset behind it.
off_t LogFollower::printFrom(int fd, off_t offset) {
    std::array<char, 65536> block;
    ssize_t got = 0;
    while ((got = pread(fd, block.data(), block.size(), offset)) > 0) {
        printable_.print({block.data(), static_cast<size_t>(got)});
        offset += got;
    }
    flushOutput();
    return offset;
}

LogFollower::LogFollower(std::string path, std::string older)
    : path_{std::move(path)}, older_{std::move(older)}, watch_{inotify_init1(IN_CLOEXEC | IN_NONBLOCK)} {}

LogFollower::~LogFollower() {
    close(file_);
    close(watch_);
}

void LogFollower::open() {
    const int fd = openLog(path_);
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
        const int older = openLog(older_);
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
