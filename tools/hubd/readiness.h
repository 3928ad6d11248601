// Tells whoever started the hub that it can be connected to.
#pragma once

namespace hubd {

/** Writes a line to `readyFd` and closes it (below 0: there is none), and tells the service manager that NOTIFY_SOCKET
 *  names. What cannot be told is reported and does not stop the hub. */
void tellReady(int readyFd);

}  // namespace hubd
