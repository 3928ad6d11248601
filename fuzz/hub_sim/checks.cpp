// What must hold at each turn, and when all has come to rest.
#include "play.h"

#include <algorithm>
#include <cstring>

#include "common/hub_protocol.h"
#include "finding.h"
#include "heap.h"

namespace hubsim {

namespace {

/** In how many of the hub's turns whoever asks for little is served. */
constexpr uint64_t kTurns = 64;

}  // namespace

void Play::checkTurns(size_t events, int64_t timeoutNs) {
    checkMemory(false);
    const bool still = world_.calls() == callsBefore_;
    const bool told = eventsBefore_ > 0 || timeoutBefore_ == 0;
    idleTurns_ = still && told && moved_ == movedBefore_ ? idleTurns_ + 1 : 0;
    if (idleTurns_ > 1000) {
        finding("the hub does nothing and does not rest either, for %d events", static_cast<int>(eventsBefore_));
    }
    callsBefore_ = world_.calls();
    movedBefore_ = moved_;
    eventsBefore_ = events;
    timeoutBefore_ = timeoutNs;
    for (const auto &client : clients_) {
        if (!client || client->connection->fd < 0) {
            continue;
        }
        const Connection &connection = *client->connection;
        if (connection.waitsSince != 0 && (connection.watched & EPOLLIN) != 0 &&
            world_.turns() - connection.waitsSince > kTurns) {
            finding("client %zu is not read for %d turns", client->slot, static_cast<int>(kTurns));
        }
        const bool nothing = connection.toClient.size() == 0 && client->in.empty();
        if (client->slot == 0 && client->eid != 0 && nothing && !client->hubAsked.empty() &&
            client->hubAsked.front().sinceTurn != 0 && connection.toHub.size() == 0 &&
            world_.turns() - std::max(client->hubAsked.front().sinceTurn, client->gotTurn) > 4 * kTurns) {
            finding("client 0 is not answered in %d turns", static_cast<int>(4 * kTurns));
        }
    }
}

// Who has a place costs something beside what waits: interests, delayed messages, tables.
void Play::checkMemory(bool settled) const {
    constexpr size_t kPlace = size_t{2} << 20;
    // Bytes that mean nothing may begin like a long message and go on until it is there.
    const bool noisy = std::ranges::any_of(hostile_, [](const Hostile &hostile) { return hostile.kind == kNoise; });
    const size_t waiting =
        settled && !noisy ? plan_.hostile * (3 * plan_.queueLimit + 4 * plan_.longest) : plan_.memoryLimit;
    const size_t most = bytesBefore_ + waiting + (2 + plan_.hostile) * kPlace;
    if (hubHeap().bytes > most) {
        finding("the hub holds %zu bytes, more than %zu", hubHeap().bytes, most);
    }
}

// Copies for a monitor leave half of its queue to others.
void Play::checkRows(const Client &client, std::span<const std::byte> payload) const {
    for (size_t at = 0; at + sizeof(hubproto::ClientRow) <= payload.size(); at += sizeof(hubproto::ClientRow)) {
        hubproto::ClientRow row;
        memcpy(&row, payload.data() + at, sizeof row);
        const bool silent = row.eid >= 900 && row.eid < 900 + plan_.hostile && row.monitor;
        if (silent && row.queuedBytes > plan_.queueLimit / 2 + sizeof row * (kSlots + plan_.hostile)) {
            finding("client %zu is told that %d bytes wait for a monitor", client.slot,
                    static_cast<int>(row.queuedBytes));
        }
    }
}

void Play::checkPair(const Client &sender, const Client &receiver) const {
    const Progress &first = sender.first[receiver.slot];
    const Progress &from = receiver.from[sender.slot];
    if (first.serial != receiver.serial || from.serial > sender.serial || sender.sent[receiver.slot] == first.next) {
        return;
    }
    if (from.serial != sender.serial || from.next != sender.sent[receiver.slot]) {
        finding("of %u messages of client %zu (%u) client %zu (%u) has got those before %u", sender.sent[receiver.slot],
                sender.slot, sender.serial, receiver.slot, receiver.serial,
                from.serial == sender.serial ? from.next : first.next);
    }
}

void Play::checkTopics(const Client &publisher, const Client &subscriber) const {
    for (size_t topic = 0; topic < kTopics; topic++) {
        const Progress &copies = subscriber.copies[publisher.slot][topic];
        const Progress &since = subscriber.since[publisher.slot][topic];
        if (subscriber.interests[topic] != Interest::kHeld) {
            continue;
        }
        uint32_t expected = copies.next;
        if (copies.serial != publisher.serial) {
            expected = since.serial == publisher.serial ? since.next : 0;
        }
        if (publisher.published[topic] != expected) {
            finding("of %u events of client %zu client %zu has got those before %u", publisher.published[topic],
                    publisher.slot, subscriber.slot, expected);
        }
    }
}

void Play::checkAsked(Client &client) {
    for (const Asked &asked : client.asked) {
        const bool there = launched(asked.slot);
        const bool stayed = there && clients_[asked.slot]->serial == asked.holder;
        const bool never = !there && asked.holder == 0 && changed_[asked.slot] < asked.cycle;
        if (!asked.told && (stayed || never || (there && !isNamed(asked.slot)))) {
            finding("request %x of client %zu to %zu was neither answered nor asked for again", asked.type, client.slot,
                    asked.slot);
        }
    }
    std::erase_if(client.asked, [](const Asked &asked) { return asked.told; });
}

void Play::checkDelayed(const Client &client) const {
    for (const Delayed &delayed : client.delayed) {
        if (delayed.latestNs != 0 && delayed.latestNs + kMs < world_.nowNs() && !delayed.leaving) {
            finding("delayed message %u of client %zu has not come", delayed.word, client.slot);
        }
    }
}

void Play::checkSettled() {
    for (const auto &receiver : clients_) {
        if (!receiver) {
            continue;
        }
        if (receiver->eid == 0 && !plan_.scarce) {
            finding("client %zu was not launched", receiver->slot);
        }
        if (!receiver->hubAsked.empty()) {
            finding("client %zu got no answer to type %x", receiver->slot, receiver->hubAsked.front().type);
        }
        for (const auto &sender : clients_) {
            if (sender) {
                checkPair(*sender, *receiver);
                checkTopics(*sender, *receiver);
            }
        }
        for (const auto &grave : graves_) {
            checkPair(*grave, *receiver);
        }
        checkAsked(*receiver);
        checkDelayed(*receiver);
    }
    graves_.clear();
    checkMemory(true);
}

}  // namespace hubsim
