// What the system watches clients for, changed only when it differs.
#pragma once

#include "client.h"

namespace hubd {

/** Watches a client for what its state asks for: input unless it has to wait, output while something waits for it. */
void updateWatch(Client &client);

}  // namespace hubd
