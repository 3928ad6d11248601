#include "support/syslog_catcher.h"

#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "support/unix_address.h"
#include "vos/dbg.h"

namespace vostest {

namespace {

constexpr const char *kMarker = "\x01marker";
constexpr const char *kEnd =
    "\x01"
    "end";

const UnixAddress kLog{"/dev/log"};

// "<PRI>Mon DD HH:MM:SS ident: text" as the C libraries write it; musl leaves the ident empty.
SyslogLine parse(const std::string &datagram) {
    SyslogLine line{};
    const size_t close = datagram.find('>');
    const int code = atoi(datagram.c_str() + 1);
    line.priority = LOG_PRI(code);
    line.facility = code & LOG_FACMASK;
    std::string rest = datagram.substr(close + 1 + strlen("Mon DD HH:MM:SS "));
    const size_t colon = rest.find(": ");
    if (colon != std::string::npos) {
        line.ident = rest.substr(0, colon);
        rest = rest.substr(colon + 2);
    }
    while (!rest.empty() && (rest.back() == '\0')) {
        rest.pop_back();
    }
    line.text = asCaught(rest);
    return line;
}

void sendRaw(const char *text) {
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sendto(fd, text, strlen(text), 0, kLog.get(), kLog.size());
    close(fd);
}

}  // namespace

std::string asCaught(std::string text) {
#ifndef __GLIBC__
    if (text.ends_with('\n')) {
        text.pop_back();
    }
#endif
    return text;
}

std::string SyslogLine::body() const {
    const size_t end = text.find("]: ");
    return text.starts_with("[") && end != std::string::npos ? text.substr(end + 3) : text;
}

SyslogCatcher::SyslogCatcher() : fd_{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)} {
    unlink("/dev/log");
    if (fd_ < 0 || bind(fd_, kLog.get(), kLog.size()) != 0) {
        throw std::runtime_error{"cannot bind /dev/log"};
    }
    thread_ = std::thread{[this] { collect(); }};
}

SyslogCatcher::~SyslogCatcher() {
    sendRaw(kEnd);
    thread_.join();
    close(fd_);
    unlink("/dev/log");
    closelog();  // the next catcher is a new socket
}

void SyslogCatcher::collect() {
    std::string buffer(70000, '\0');
    for (;;) {
        const ssize_t size = recv(fd_, buffer.data(), buffer.size(), 0);
        if (size < 0) {
            continue;
        }
        const std::string datagram = buffer.substr(0, static_cast<size_t>(size));
        if (datagram == kEnd) {
            return;
        }
        const std::lock_guard lock{mutex_};
        if (datagram == kMarker) {
            markersSeen_++;
            changed_.notify_all();
        } else {
            lines_.push_back(parse(datagram));
        }
    }
}

void SyslogCatcher::waitForMarker() {
    const unsigned wanted = ++markersSent_;
    sendRaw(kMarker);
    std::unique_lock lock{mutex_};
    changed_.wait(lock, [&] { return markersSeen_ >= wanted; });
}

std::vector<SyslogLine> SyslogCatcher::take() {
    waitForMarker();
    const std::lock_guard lock{mutex_};
    return std::exchange(lines_, {});
}

std::vector<std::string> SyslogCatcher::takeBodies() {
    std::vector<std::string> bodies;
    for (const SyslogLine &line : take()) {
        bodies.push_back(line.body());
    }
    return bodies;
}

Diagnostics::Diagnostics() {
    std::ofstream{VOS_DBG_GATE_FILE};
}

Diagnostics::~Diagnostics() {
    unlink(VOS_DBG_GATE_FILE);
}

}  // namespace vostest
