// Sending to clients.
#include "outbox.h"

#include <array>
#include <cerrno>

#include "clock.h"

namespace hubd {

namespace {

constexpr size_t kPiecesAtOnce = 16;
constexpr size_t kWorthSharing = 512;
constexpr size_t kTooLongAtOnce = size_t{32} * 1024;  // sent to many: each socket takes its part in a turn of its own

iovec pieceOf(std::span<const std::byte> bytes) {
    return {const_cast<std::byte *>(bytes.data()), bytes.size()};
}

}  // namespace

void Departures::add(Client &client, std::string why) {
    if (!client.leaving) {
        client.leaving = true;
        client.departsWhy = std::move(why);
        client.nextDeparture = first_;
        first_ = &client;
    }
}

void Departures::addForMemory(Client &client) {
    client.lacksMemory = client.lacksMemory || !client.leaving;
    add(client, {});
}

Client *Departures::take() {
    Client *client = first_;
    if (client != nullptr) {
        first_ = client->nextDeparture;
    }
    return client;
}

const BlockRef &Payload::share(Memory &memory, const Client &asking) {
    if (!block_ && bytes_.size() >= kWorthSharing) {
        block_ = BlockRef{Block::make(memory, asking, bytes_.size())};
        if (block_) {
            memcpy(block_->data(), bytes_.data(), bytes_.size());
            bytes_ = {block_->data(), bytes_.size()};
        }
    }
    return block_;
}

size_t Outbox::sendNow(Client &to, std::span<const iovec> pieces) {
    const ssize_t sent = kernel::send(to.fd.get(), pieces);
    if (sent >= 0) {
        return static_cast<size_t>(sent);
    }
    if (errno != EAGAIN && errno != EINTR && errno != ENOBUFS && errno != ENOMEM) {
        // What the client sent before it closed is still to be read, so it is not disconnected here.
        to.deaf = true;
        to.queue.clear();
        updateWatch(to);
    }
    return 0;
}

void Outbox::queue(Client &to, std::span<const std::byte> head, std::span<const std::byte> tail,
                   const BlockRef &shared) {
    if (to.queue.empty()) {
        to.takenNs = monotonicNs();
    }
    if (!to.queue.append(memory_, to, head, tail, shared)) {
        departures_.addForMemory(to);
    }
    updateWatch(to);
}

bool Outbox::deliver(Client &to, std::span<const std::byte> messages, size_t count, const BlockRef &block) {
    if (to.leaving) {
        return true;  // what it got may end in the middle of a message: nothing may follow
    }
    size_t sent = 0;
    if (to.queue.empty() && !to.deaf) {
        const iovec piece = pieceOf(messages);
        sent = sendNow(to, std::span{&piece, 1});
    }
    if (to.deaf) {
        return false;
    }
    to.messagesOut += count;
    if (sent != messages.size()) [[unlikely]] {
        queue(to, {}, messages.subspan(sent), block);
    }
    return true;
}

bool Outbox::deliver(Client &to, std::span<const std::byte> header, Payload &payload) {
    if (to.leaving) {
        return true;
    }
    const std::span<const std::byte> bytes = payload.bytes();
    size_t sent = 0;
    if (to.queue.empty() && !to.deaf && bytes.size() < kTooLongAtOnce) {
        const std::array pieces{pieceOf(header), pieceOf(bytes)};
        sent = sendNow(to, std::span{pieces}.first(bytes.empty() ? 1 : 2));
    }
    if (to.deaf) {
        return false;
    }
    to.messagesOut++;
    if (sent == header.size() + bytes.size()) {
        return true;
    }
    const size_t ofHeader = std::min(sent, header.size());
    const BlockRef &shared = payload.share(memory_, to);
    queue(to, header.subspan(ofHeader), payload.bytes().subspan(sent - ofHeader), shared);
    return true;
}

bool Outbox::offer(Client &to, std::span<const std::byte> header, Payload &payload) {
    if (to.deaf || to.queue.size() + header.size() + payload.bytes().size() > queueLimit_ / 2) {
        return false;
    }
    return deliver(to, header, payload);
}

size_t Outbox::drain(Client &client) {
    size_t sent = 0;
    if (!client.queue.empty()) {
        std::array<iovec, kPiecesAtOnce> pieces;
        const size_t count = client.queue.gather(pieces);
        sent = sendNow(client, std::span{pieces}.first(count));
        if (sent > 0) {
            client.takenNs = monotonicNs();
            client.queue.consume(sent);
            client.slow = client.slow && !client.queue.empty();
        }
    }
    updateWatch(client);
    return sent;
}

}  // namespace hubd
