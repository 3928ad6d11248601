// SIGINT and SIGTERM end a command that otherwise runs for ever.
#pragma once

#include <functional>

#include "hub_connection.h"

namespace vosctl {

/** Calls `step` until it returns false or a stop signal arrives. The signal ends every wait for the hub, also one in
 *  the middle of a message; what `step` has begun with a whole message is finished. */
void untilStopped(const Hub &hub, const std::function<bool()> &step);

}  // namespace vosctl
