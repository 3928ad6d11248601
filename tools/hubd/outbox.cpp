// Sending to clients.
#include "outbox.h"

#include <sys/socket.h>

#include <cerrno>

namespace hubd {

void Departures::add(Client &client, std::string why) {
    if (!client.leaving) {
        client.leaving = true;
        list_.push_back({&client, std::move(why)});
    }
}

size_t Outbox::sendNow(Client &to, std::span<const std::byte> bytes) {
    const ssize_t sent = send(to.fd.get(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent >= 0) {
        return static_cast<size_t>(sent);
    }
    if (errno != EAGAIN && errno != EINTR && errno != ENOBUFS && errno != ENOMEM) {
        // What the client sent before it closed is still to be read, so it is not disconnected here.
        to.deaf = true;
        to.queue.consume(to.queue.size());
        poller_.update(to);
    }
    return 0;
}

bool Outbox::deliver(Client &to, std::span<const std::byte> messages, size_t count) {
    if (to.leaving) {
        return true;  // what it got may end in the middle of a message: nothing may follow
    }
    size_t sent = 0;
    if (to.queue.empty() && !to.deaf) {
        sent = sendNow(to, messages);
    }
    if (to.deaf) {
        return false;
    }
    to.messagesOut += count;
    if (sent == messages.size()) [[likely]] {
        return true;
    }
    const size_t waiting = to.queue.size();
    const std::span<const std::byte> rest = messages.subspan(sent);
    if (waiting + rest.size() > queueLimit_ && (waiting > 0 || count > 1)) {
        departures_.add(to, "does not read its messages, " + std::to_string(waiting + rest.size()) + " bytes wait");
        return true;
    }
    to.queue.append(rest);
    poller_.update(to);
    return true;
}

bool Outbox::offer(Client &to, std::span<const std::byte> head, std::span<const std::byte> tail) {
    if (to.deaf || to.queue.size() + head.size() + tail.size() > queueLimit_ / 2) {
        return false;
    }
    joined_.assign(head.begin(), head.end());
    joined_.insert(joined_.end(), tail.begin(), tail.end());
    return deliver(to, joined_, 1);
}

void Outbox::drain(Client &client) {
    if (!client.queue.empty()) {
        client.queue.consume(sendNow(client, client.queue.waiting()));
    }
    poller_.update(client);
}

}  // namespace hubd
