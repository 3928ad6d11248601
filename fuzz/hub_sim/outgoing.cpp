// What honest clients send.
#include "play.h"

#include <algorithm>
#include <cstring>

#include "common/hub_protocol.h"
#include "internal/message_header.h"

namespace hubsim {

namespace {

constexpr size_t kMostAsked = 16;
constexpr size_t kMostDelayed = 40;

uint32_t mix(uint32_t serial, uint32_t number) {
    uint32_t value = serial * 0x9e3779b1U ^ number * 0x85ebca77U;
    value ^= value >> 15;
    value *= 0xc2b2ae35U;
    return value ^ value >> 13;
}

}  // namespace

size_t Play::sizeOf(uint32_t serial, uint32_t number) const {
    const uint32_t value = mix(serial, number);
    return 4 + (value >> 8) % (value % 16 == 0 ? plan_.longest : std::min<size_t>(plan_.longest, 200));
}

std::span<const std::byte> Play::payloadOf(uint32_t serial, uint32_t number) {
    const size_t size = sizeOf(serial, number);
    message_.resize(size);
    memcpy(message_.data(), &serial, sizeof serial);
    memcpy(message_.data() + sizeof serial, noise_.data() + mix(number, serial) % kOffsets, size - sizeof serial);
    return message_;
}

void Play::append(std::vector<std::byte> &out, VosMsgHeader header, std::span<const std::byte> payload) {
    header.dataLength = static_cast<uint32_t>(payload.size());
    const auto head = std::as_bytes(std::span{&header, 1});
    out.insert(out.end(), head.begin(), head.end());
    out.insert(out.end(), payload.begin(), payload.end());
}

void Play::launch(size_t slot) {
    if (last_[slot] && !last_[slot]->hubClosed) {
        return;  // its predecessor still holds the id
    }
    last_[slot].reset();
    auto client = std::make_unique<Client>();
    client->slot = slot;
    client->serial = static_cast<uint32_t>(slotOfSerial_.size());
    slotOfSerial_.push_back(slot);
    client->connection = world_.connect(static_cast<int>(5000 + slot), plan_.room, plan_.room);
    const VosEntityId wanted = isNamed(slot) ? 0 : static_cast<VosEntityId>(100 + slot);
    std::string text = (isNamed(slot) ? "name" + std::to_string(slot) : std::string{}) + '\0' + "/bin/daemon";
    text.push_back('\0');
    append(
        client->out,
        vos::messageHeader(VOS_MSG_LAUNCHED, wanted, EID_HUBD, VOS_MSG_FLAG_EVENT, static_cast<uint32_t>(5000 + slot)),
        textOf(text));
    clients_[slot] = std::move(client);
    changed_[slot] = cycle_;
}

void Play::die(size_t slot) {
    Client &client = *clients_[slot];
    world_.close(*client.connection);
    last_[slot] = client.connection;
    // Where memory fails, the hub may let go of somebody dead whose messages it has not passed on: nobody is left to
    // tell.
    if (client.written == client.out.size() && !client.connection->hubClosed && plan_.faults == 0) {
        graves_.push_back(std::move(clients_[slot]));
    }
    clients_[slot].reset();
    changed_[slot] = cycle_;
}

void Play::write(Client &client, bool all) {
    const size_t most = std::min(client.out.size() - client.written, client.connection->toHub.room());
    if (most == 0) {
        return;
    }
    const size_t count = all ? most : 1 + random_.below(most);
    client.connection->toHub.put(client.out.data() + client.written, count);
    moved_ += count;
    client.written += count;
    if (client.written == client.out.size()) {
        client.out.clear();
        client.written = 0;
        for (HubAsked &asked : client.hubAsked) {
            asked.sinceTurn = asked.sinceTurn == 0 ? world_.turns() : asked.sinceTurn;
        }
    }
}

void Play::sendEvent(Client &client, size_t slot) {
    if (eids_[slot] == 0) {
        return;
    }
    if (launched(slot) && client.first[slot].serial != clients_[slot]->serial) {
        client.first[slot] = {clients_[slot]->serial, client.sent[slot]};
    }
    const uint32_t number = client.sent[slot]++;
    append(client.out, vos::messageHeader(kEvent, client.eid, eids_[slot], VOS_MSG_FLAG_EVENT, number),
           payloadOf(client.serial, number));
}

void Play::sendRequest(Client &client, size_t slot) {
    if (eids_[slot] == 0 || client.asked.size() >= kMostAsked || slot == client.slot || slot == 0) {
        return;
    }
    const uint32_t number = (client.serial & 0xfff) << 12 | (client.number++ & 0xfff);
    client.asked.push_back({kRequest | number, slot, launched(slot) ? clients_[slot]->serial : 0, cycle_, false});
    append(client.out, vos::messageHeader(kRequest | number, client.eid, eids_[slot], VOS_MSG_FLAG_REQUEST, number),
           payloadOf(client.serial, number));
}

void Play::askHub(Client &client, uint32_t type, uint32_t word, std::span<const std::byte> payload) {
    client.hubAsked.push_back({type, word, payload.size(), 0});
    append(client.out, vos::messageHeader(type, client.eid, EID_HUBD, VOS_MSG_FLAG_REQUEST, word), payload);
}

void Play::publish(Client &client) {
    const size_t topic = random_.below(kTopics);
    const uint32_t number = client.published[topic]++;
    append(client.out,
           vos::messageHeader(static_cast<uint32_t>(kTopic + topic), client.eid, EID_HUBD, VOS_MSG_FLAG_EVENT, number),
           payloadOf(client.serial, number));
}

void Play::useInterest(Client &client) {
    const size_t topic = random_.below(kTopics);
    Interest &interest = client.interests[topic];
    const auto type = static_cast<uint32_t>(kTopic + topic);
    if (interest == Interest::kNone) {
        interest = Interest::kAsked;
        askHub(client, VOS_MSG_REGISTER_EVENT_INTEREST, type);
    } else if (interest == Interest::kHeld && random_.once(4)) {
        interest = Interest::kGivenUp;
        askHub(client, VOS_MSG_UNREGISTER_EVENT_INTEREST, type);
    }
}

void Play::useDelayed(Client &client) {
    if (!client.delayed.empty() && random_.once(3)) {
        Delayed &delayed = client.delayed[random_.below(client.delayed.size())];
        if (!delayed.leaving) {
            delayed.leaving = true;
            askHub(client, VOS_MSG_UNREGISTER_DELAYED_MSG, delayed.word);
        }
    } else if (client.delayed.size() < kMostDelayed) {
        const uint32_t ms =
            static_cast<uint32_t>(random_.once(16) ? 3'600'000 : random_.below(random_.once(2) ? 20 : 2000));
        client.delayed.push_back({client.number, ms, world_.nowNs() + ms * kMs, 0, false});
        askHub(client, VOS_MSG_REGISTER_DELAYED_MSG, client.number++, std::as_bytes(std::span{&ms, 1}));
    }
}

}  // namespace hubsim
