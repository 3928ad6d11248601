// The record of a process in /proc.
#include "process_record.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

#include "internal/guards.h"

#ifndef SO_PEERPIDFD
#define SO_PEERPIDFD 77
#endif

namespace hubd {

namespace {

// The peer itself where the kernel keeps it (Linux 6.5), else whoever has its id now.
vos::UniqueFd pidfdOf(int socket, pid_t pid) {
    int fd = -1;
    socklen_t size = sizeof fd;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERPIDFD, &fd, &size) != 0) {
        fd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    }
    return vos::UniqueFd{fd};
}

bool hasEnded(int pidfd) {
    pollfd end{.fd = pidfd, .events = POLLIN, .revents = 0};
    return poll(&end, 1, 0) != 0;
}

/** The last id of the line "NSpid:", which is the innermost namespace's; 0 without one. */
uint32_t innermostId(pid_t pid) {
    std::ifstream status{"/proc/" + std::to_string(pid) + "/status"};
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("NSpid:")) {
            std::istringstream ids{line.substr(line.find(':') + 1)};
            uint32_t last = 0;
            for (uint32_t id = 0; ids >> id;) {
                last = id;
            }
            return last;
        }
    }
    return 0;
}

}  // namespace

bool isIdInOwnNamespace(int socket, pid_t pid, uint32_t announced) {
    if (pid <= 0 || announced == 0) {
        return false;
    }
    const vos::UniqueFd process = pidfdOf(socket, pid);
    // As long as it has not ended after the reading, the record was its own: an id is used again only after an end.
    return process && innermostId(pid) == announced && !hasEnded(process.get());
}

}  // namespace hubd
