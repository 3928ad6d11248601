// The seam between the hub and the system: everything that the hub's core asks of the kernel goes through these calls.
// kernel.cpp answers from the real one; a simulation brings its own.
#pragma once

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace hubd::kernel {

/** CLOCK_MONOTONIC and CLOCK_REALTIME, in nanoseconds. */
int64_t monotonicNs();
int64_t realtimeNs();

/** A connection that waits to be accepted; below 0 with errno as accept left it. */
int accept(int listener);
/** Who is at the other end; nothing when the connection is broken. */
std::optional<ucred> peerOf(int fd);
/** recv and send without waiting; results as those of the system calls, errno included. */
ssize_t receive(int fd, std::span<const iovec> pieces);
ssize_t send(int fd, std::span<const iovec> pieces);
void close(int fd);

/** Watches a descriptor for epoll events; false when the system lacks memory for it. */
[[nodiscard]] bool watch(int fd, uint32_t events);
void rewatch(int fd, uint32_t events);
void unwatch(int fd);
/** Waits `timeoutMs` (-1: without limit); the events are valid until the next call. */
std::span<const epoll_event> wait(int timeoutMs);

/** Whether a process of another PID namespace announces the id that it has there. */
bool isIdInOwnNamespace(int fd, pid_t pid, uint32_t announced);
/** Makes a directory and those above it; the error's text, empty for success. */
std::string makeDirectories(const std::string &path);
/** Writes to standard output what that takes at once; below 0 with errno EAGAIN when it takes nothing now. */
ssize_t writeTrace(std::string_view text);

}  // namespace hubd::kernel
