// The sandboxes of this user that run now.
//
// A sandbox is known by a socket with an abstract name that its first process holds: it goes with that process, and
// nothing stale is ever left.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "internal/guards.h"

namespace vosctl {

struct Sandbox {
    pid_t pid;  // of the process that waits outside
    std::string name;
};

/** Letters, digits, '.', '_' and '-', at most 32. */
bool isSandboxName(const std::string &name);

/** Makes this process the one that waits outside. */
vos::UniqueFd announceSandbox(const std::string &name);

std::vector<Sandbox> runningSandboxes();

}  // namespace vosctl
