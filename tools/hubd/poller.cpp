// Interest in clients' sockets.
#include "poller.h"

namespace hubd {

void updateWatch(Client &client) {
    const bool output = !client.queue.empty() && !client.deaf;
    const bool input = client.pauses == 0 && client.kept.empty() && !client.partial.complete();
    uint32_t wanted = (input ? uint32_t{EPOLLIN} : 0U) | (output ? uint32_t{EPOLLOUT} : 0U);
    if (wanted == 0) {
        wanted = EPOLLET;  // the end of a client that must wait is told once, not all the time
    }
    if (wanted != client.watched) {
        client.watched = wanted;
        kernel::rewatch(client.fd.get(), wanted);
    }
}

}  // namespace hubd
