// What the kernel says about the process at the other end of a socket.
#pragma once

#include <sys/types.h>

#include <cstdint>

namespace hubd {

/** Whether `announced` is the process's id in the PID namespace that it lives in. `pid` is the one of SO_PEERCRED, in
 *  the hub's namespace; false when the process has ended. */
bool isIdInOwnNamespace(int socket, pid_t pid, uint32_t announced);

}  // namespace hubd
