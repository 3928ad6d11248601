// Clients that act, and what they get held against what they know.
#include "play.h"

#include <algorithm>
#include <cstring>

#include "common/hub_protocol.h"
#include "finding.h"
#include "heap.h"
#include "vos/ret.h"

namespace hubsim {

namespace {

constexpr uint32_t kEvent = 0x20000001;
constexpr uint32_t kRequest = 0x30000000;
constexpr uint32_t kTopic = 0x40000000;
constexpr uint32_t kHostileType = 0x50000000;
constexpr size_t kOffsets = 4096;
constexpr size_t kMostAsked = 16;
constexpr size_t kMostDelayed = 40;
constexpr size_t kBacklog = size_t{64} << 10;
/** In how many of the hub's turns whoever asks for little is served. */
constexpr uint64_t kTurns = 64;
constexpr int64_t kQuietNs = 12'000 * kMs;  // longer than any of the hub's own time-outs
constexpr uint32_t kResult = 7;

uint32_t mix(uint32_t serial, uint32_t number) {
    uint32_t value = serial * 0x9e3779b1U ^ number * 0x85ebca77U;
    value ^= value >> 15;
    value *= 0xc2b2ae35U;
    return value ^ value >> 13;
}

bool isNamed(size_t slot) {
    return slot % 4 == 3;
}

VosMsgHeader headerOf(uint32_t type, VosEntityId src, VosEntityId dst, uint16_t flags, uint32_t word) {
    VosMsgHeader header{};
    header.type = type;
    header.src = src;
    header.dst = dst;
    header.flags = flags;
    header.wordData = word;
    return header;
}

std::vector<std::byte> textOf(const std::string &text) {
    const auto bytes = std::as_bytes(std::span{text});
    return {bytes.begin(), bytes.end()};
}

}  // namespace

Plan::Plan(Random &random)
    : honest{2 + random.below(kSlots - 1)},
      hostile{random.once(3) ? 0 : random.below(7)},
      longest{size_t{64} << random.below(12)},
      queueLimit{size_t{16384} << random.below(6)},
      memoryLimit{size_t{4} << (20 + random.below(5))},
      room{size_t{256} << random.below(11)},
      deaths{random.once(4) ? 0 : 50 + random.below(3000)},
      jumps{100 + random.below(3000)},
      faults{random.once(4) ? 2 + random.below(300) : 0},
      sharedProcess{random.once(2)},
      scarce{random.once(8)} {}

Play::Play(Random &random, World &world)
    : random_{random},
      world_{world},
      plan_{random},
      hostile_(plan_.hostile),
      cycles_(static_cast<uint32_t>(1 + random.below(4))) {
    noise_.resize(kOffsets + plan_.longest + 64);
    for (std::byte &byte : noise_) {
        byte = static_cast<std::byte>(random_.next() >> 56);
    }
    cycleEnd_ = 200 + random_.below(8000);
    if (plan_.scarce) {
        world_.setDescriptors(plan_.honest + 1);
    }
}

// --- what goes out

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
    append(client->out,
           headerOf(VOS_MSG_LAUNCHED, wanted, EID_HUBD, VOS_MSG_FLAG_EVENT, static_cast<uint32_t>(5000 + slot)),
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
    append(client.out, headerOf(kEvent, client.eid, eids_[slot], VOS_MSG_FLAG_EVENT, number),
           payloadOf(client.serial, number));
}

void Play::sendRequest(Client &client, size_t slot) {
    if (eids_[slot] == 0 || client.asked.size() >= kMostAsked || slot == client.slot || slot == 0) {
        return;
    }
    const uint32_t number = (client.serial & 0xfff) << 12 | (client.number++ & 0xfff);
    client.asked.push_back({kRequest | number, slot, launched(slot) ? clients_[slot]->serial : 0, cycle_, false});
    append(client.out, headerOf(kRequest | number, client.eid, eids_[slot], VOS_MSG_FLAG_REQUEST, number),
           payloadOf(client.serial, number));
}

void Play::askHub(Client &client, uint32_t type, uint32_t word, std::span<const std::byte> payload) {
    client.hubAsked.push_back({type, word, payload.size(), 0});
    append(client.out, headerOf(type, client.eid, EID_HUBD, VOS_MSG_FLAG_REQUEST, word), payload);
}

void Play::publish(Client &client) {
    const size_t topic = random_.below(kTopics);
    const uint32_t number = client.published[topic]++;
    append(client.out,
           headerOf(static_cast<uint32_t>(kTopic + topic), client.eid, EID_HUBD, VOS_MSG_FLAG_EVENT, number),
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

// --- what comes in

void Play::read(Client &client, bool all) {
    Channel &channel = client.connection->toClient;
    if (channel.size() == 0) {
        if (client.connection->hubClosed) {
            if (plan_.faults == 0) {
                finding("client %zu, who did nothing wrong, was disconnected", client.slot);
            }
            client.out.clear();
            client.out.resize(1);  // it has not written everything
            die(client.slot);
        }
        return;
    }
    const size_t count = all ? channel.size() : 1 + random_.below(channel.size());
    const size_t before = client.in.size();
    client.in.resize(before + count);
    channel.get(client.in.data() + before, count);
    moved_ += count;
    client.gotTurn = world_.turns();
    size_t parsed = 0;
    while (client.in.size() - parsed >= sizeof(VosMsgHeader)) {
        VosMsgHeader header;
        memcpy(&header, client.in.data() + parsed, sizeof header);
        if (header.dataLength > (size_t{64} << 20)) {
            finding("client %zu gets a header that is none", client.slot);
        }
        if (client.in.size() - parsed < sizeof header + header.dataLength) {
            break;
        }
        got(client, header, std::span{client.in}.subspan(parsed + sizeof header, header.dataLength));
        parsed += sizeof header + header.dataLength;
    }
    client.in.erase(client.in.begin(), client.in.begin() + static_cast<ptrdiff_t>(parsed));
}

uint32_t Play::checkedSerial(const Client &client, const VosMsgHeader &header, std::span<const std::byte> payload) {
    uint32_t serial = 0;
    if (payload.size() >= sizeof serial) {
        memcpy(&serial, payload.data(), sizeof serial);
    }
    if (serial == 0 || serial >= slotOfSerial_.size() || payload.size() != sizeOf(serial, header.wordData) ||
        memcmp(payloadOf(serial, header.wordData).data(), payload.data(), payload.size()) != 0) {
        finding("client %zu gets message %u of type %x from %u, %zu bytes, not as it was sent", client.slot,
                header.wordData, header.type, header.src, payload.size());
    }
    return serial;
}

void Play::got(Client &client, const VosMsgHeader &header, std::span<const std::byte> payload) {
    if (header.type >= kHostileType && header.type < 2 * kHostileType) {
        return;
    }
    if (client.eid == 0) {
        if (header.type != VOS_MSG_LAUNCHED || header.src != EID_HUBD) {
            finding("client %zu gets type %x before it is launched", client.slot, header.type);
        }
        client.eid = header.dst;
        eids_[client.slot] = client.eid;
        return;
    }
    if (header.dst != client.eid) {
        finding("client %zu gets a message for %u", client.slot, header.dst);
    }
    if (header.type == VOS_MSG_RESEND_REQUEST) {
        gotResend(client, header);
    } else if (header.type == kEvent) {
        gotEvent(client, header, payload);
    } else if (header.type >= kTopic && header.type < kTopic + kTopics) {
        gotCopy(client, header, payload);
    } else if (header.type >= kRequest && header.type < kTopic) {
        if ((header.flags & VOS_MSG_FLAG_RESPONSE) != 0) {
            gotAnswer(client, header);
        } else {
            checkedSerial(client, header, payload);
            append(client.out, headerOf(header.type, client.eid, header.src, VOS_MSG_FLAG_RESPONSE, kResult));
        }
    } else if (header.type == VOS_MSG_REGISTER_DELAYED_MSG && (header.flags & VOS_MSG_FLAG_EVENT) != 0) {
        gotDelayed(client, header);
    } else if (header.type == hubproto::kMonitorCopy) {
        VosMsgHeader inner{};
        if (payload.size() >= sizeof(hubproto::MonitorRecord) + sizeof inner) {
            memcpy(&inner, payload.data() + sizeof(hubproto::MonitorRecord), sizeof inner);
        }
        if (!client.monitor || payload.size() != sizeof(hubproto::MonitorRecord) + sizeof inner + inner.dataLength) {
            finding("client %zu gets a copy that is none", client.slot);
        }
    } else {
        gotHubReply(client, header, payload);
    }
}

void Play::gotEvent(Client &client, const VosMsgHeader &header, std::span<const std::byte> payload) {
    const uint32_t serial = checkedSerial(client, header, payload);
    const size_t slot = slotOfSerial_[serial];
    Progress &from = client.from[slot];
    const Client *sender = clients_[slot].get();
    bool fits = serial == from.serial && header.wordData == from.next;
    if (serial > from.serial) {
        const bool known =
            sender != nullptr && sender->serial == serial && sender->first[client.slot].serial == client.serial;
        fits = !known || header.wordData <= sender->first[client.slot].next;
    }
    if (!fits) {
        finding("client %zu gets message %u of %zu (%u), message %u of %u was next", client.slot, header.wordData, slot,
                serial, from.next, from.serial);
    }
    from = {serial, header.wordData + 1};
}

void Play::gotAnswer(Client &client, const VosMsgHeader &header) {
    const auto asked = std::ranges::find(client.asked, header.type, &Asked::type);
    if ((header.type >> 12 & 0xfff) != (client.serial & 0xfff)) {
        return;  // a late answer for its predecessor
    }
    if (asked == client.asked.end()) {
        finding("client %zu gets a second answer to request %x", client.slot, header.type);
    }
    if (header.wordData != kResult && header.wordData != VOS_RET_PEER_GONE) {
        finding("client %zu gets result %u for request %x", client.slot, header.wordData, header.type);
    }
    client.asked.erase(asked);
}

void Play::gotResend(Client &client, const VosMsgHeader &header) {
    for (Asked &asked : client.asked) {
        asked.told = asked.told || eids_[asked.slot] == header.src;
    }
}

void Play::gotCopy(Client &client, const VosMsgHeader &header, std::span<const std::byte> payload) {
    const size_t topic = header.type - kTopic;
    if (client.interests[topic] == Interest::kNone || client.interests[topic] == Interest::kAsked) {
        finding("client %zu gets a copy of topic %zu, for which it is not registered", client.slot, topic);
    }
    const uint32_t serial = checkedSerial(client, header, payload);
    const size_t slot = slotOfSerial_[serial];
    Progress &copies = client.copies[slot][topic];
    const Progress &since = client.since[slot][topic];
    bool fits = serial == copies.serial && header.wordData == copies.next;
    if (serial > copies.serial) {
        fits = serial == since.serial ? header.wordData <= since.next
                                      : serial <= client.heldSince[topic] || header.wordData == 0;
    }
    if (!fits) {
        finding("client %zu gets copy %u of %zu (%u), copy %u of %u was next", client.slot, header.wordData, slot,
                serial, copies.next, copies.serial);
    }
    copies = {serial, header.wordData + 1};
}

void Play::gotDelayed(Client &client, const VosMsgHeader &header) {
    const auto due = std::ranges::find(client.delayed, header.wordData, &Delayed::word);
    if (due == client.delayed.end()) {
        finding("client %zu gets delayed message %u twice or after its unregistering", client.slot, header.wordData);
    }
    if (world_.nowNs() < due->earliestNs) {
        finding("client %zu gets delayed message %u too early", client.slot, header.wordData);
    }
    for (auto earlier = client.delayed.begin(); earlier != client.delayed.end(); ++earlier) {
        const bool first =
            earlier < due ? earlier->ms <= due->ms : earlier->latestNs != 0 && earlier->latestNs < due->earliestNs;
        if (earlier != due && first && !earlier->leaving) {
            finding("client %zu gets delayed message %u before %u", client.slot, due->word, earlier->word);
        }
    }
    client.delayed.erase(due);
}

void Play::gotHubReply(Client &client, const VosMsgHeader &header, std::span<const std::byte> payload) {
    if (client.hubAsked.empty() || client.hubAsked.front().type != header.type || header.src != EID_HUBD) {
        finding("client %zu gets type %x from %u, which it did not ask for next", client.slot, header.type, header.src);
    }
    const HubAsked asked = client.hubAsked.front();
    client.hubAsked.pop_front();
    if (asked.type == hubproto::kEcho && header.wordData == VOS_RET_OK && payload.size() != asked.payload) {
        finding("client %zu gets an echo of %zu bytes, not of %zu", client.slot, payload.size(), asked.payload);
    }
    const auto delayed = std::ranges::find(client.delayed, asked.word, &Delayed::word);
    if (delayed != client.delayed.end() && asked.type == VOS_MSG_REGISTER_DELAYED_MSG) {
        delayed->latestNs = world_.nowNs() + delayed->ms * kMs;
        if (header.wordData != VOS_RET_OK) {
            client.delayed.erase(delayed);
        }
    } else if (delayed != client.delayed.end() && asked.type == VOS_MSG_UNREGISTER_DELAYED_MSG) {
        client.delayed.erase(delayed);
    }
    if (asked.type == hubproto::kListClients) {
        checkRows(client, payload);
    }
    if (asked.type == VOS_MSG_REGISTER_EVENT_INTEREST || asked.type == VOS_MSG_UNREGISTER_EVENT_INTEREST) {
        gotInterestReply(client, asked, header.wordData);
    }
    // One process may fill a quarter of what there is for registrations, so that four may fill all.
    const bool full = header.wordData == VOS_RET_NO_RESOURCE && plan_.hostile >= 4 && !plan_.sharedProcess &&
                      (asked.type == VOS_MSG_REGISTER_DELAYED_MSG || asked.type == VOS_MSG_REGISTER_EVENT_INTEREST);
    if (plan_.faults == 0 && header.wordData != VOS_RET_OK && asked.type != VOS_MSG_IS_APP_RUNNING && !full) {
        finding("client %zu gets %u for type %x", client.slot, header.wordData, header.type);
    }
}

void Play::gotInterestReply(Client &client, const HubAsked &asked, uint32_t result) {
    const size_t topic = asked.word - kTopic;
    const bool registers = asked.type == VOS_MSG_REGISTER_EVENT_INTEREST;
    const bool holds = registers == (result == VOS_RET_OK);
    client.interests[topic] = holds ? Interest::kHeld : Interest::kNone;
    if (!registers || !holds) {
        return;
    }
    client.heldSince[topic] = static_cast<uint32_t>(slotOfSerial_.size() - 1);
    for (size_t slot = 0; slot < kSlots; slot++) {
        client.copies[slot][topic] = {};
        client.since[slot][topic] = {};
        if (clients_[slot]) {
            client.since[slot][topic] = {clients_[slot]->serial, clients_[slot]->published[topic]};
        }
    }
}

// --- who acts when

void Play::actOf(Client &client) {
    const size_t backlog = client.out.size() - client.written;
    const size_t kind = random_.below(16);
    if (kind < 5 || client.eid == 0) {
        write(client, random_.once(3));
    }
    if (kind < 9 || client.eid == 0) {
        read(client, random_.once(2));
        return;
    }
    if (client.slot == 0 ? backlog > 0 || !client.hubAsked.empty() : backlog > kBacklog) {
        return;  // it waits until it can send; the first one asks for little
    }
    const size_t peer = random_.below(kSlots);
    if (client.slot == 0 || kind == 9) {
        askHub(client, hubproto::kEcho, 0, payloadOf(client.serial, client.number++));
    } else if (kind < 12) {
        const size_t burst = random_.once(8) ? random_.below(40) : 1;
        for (size_t i = 0; i < burst; i++) {
            sendEvent(client, peer);
        }
    } else if (kind == 12) {
        sendRequest(client, peer);
    } else if (kind == 13) {
        publish(client);
    } else if (kind == 14) {
        random_.once(2) ? useInterest(client) : useDelayed(client);
    } else if (random_.once(64)) {
        constexpr uint32_t kTypes[] = {hubproto::kListClients, hubproto::kGetCounters, VOS_MSG_IS_APP_RUNNING,
                                       hubproto::kMonitorAttach};
        const uint32_t type = kTypes[random_.below(4)];
        client.monitor = client.monitor || type == hubproto::kMonitorAttach;
        askHub(client, type, static_cast<uint32_t>(100 + peer));
    }
}

void Play::hostileAct(Hostile &hostile, size_t index) {
    if (!hostile.connection || hostile.connection->hubClosed || random_.once(400)) {
        if (hostile.connection && !hostile.connection->hubClosed) {
            world_.close(*hostile.connection);
            if (random_.once(2)) {
                return;
            }
        }
        const int pid = plan_.sharedProcess ? 7000 : static_cast<int>(7000 + index);
        hostile = {world_.connect(pid, plan_.room, plan_.room),
                   {},
                   0,
                   random_.below(9),
                   static_cast<VosEntityId>(900 + index)};
        if (hostile.kind != 0) {
            append(hostile.out,
                   headerOf(VOS_MSG_LAUNCHED, hostile.eid, EID_HUBD, VOS_MSG_FLAG_EVENT, static_cast<uint32_t>(pid)),
                   textOf(std::string{"bad\0/bin/bad\0", 13}));
        }
        return;
    }
    Connection &connection = *hostile.connection;
    const size_t most = std::min(hostile.out.size() - hostile.written, connection.toHub.room());
    if (most > 0) {
        connection.toHub.put(hostile.out.data() + hostile.written, most);
        hostile.written += most;
    }
    if (hostile.written < hostile.out.size()) {
        return;
    }
    hostile.out.clear();
    hostile.written = 0;
    const auto type = static_cast<uint32_t>(kHostileType + random_.below(100));
    const VosEntityId victim = eids_[random_.below(kSlots)];
    const size_t size = std::min(plan_.longest, size_t{1} << random_.below(20));
    const std::span<const std::byte> noise = std::span{noise_}.first(size);
    const auto hub = [&](uint32_t what, uint32_t word, std::span<const std::byte> payload = {}) {
        append(hostile.out, headerOf(what, hostile.eid, EID_HUBD, VOS_MSG_FLAG_REQUEST, word), payload);
    };
    switch (hostile.kind) {
        case 0:  // never announces itself
            break;
        case 1:  // floods somebody
            for (int i = 0; i < 30; i++) {
                append(hostile.out, headerOf(type, hostile.eid, victim, VOS_MSG_FLAG_EVENT, 0), noise);
            }
            break;
        case 2:  // wants copies, events and its own requests' answers, and reads none
            hub(VOS_MSG_REGISTER_EVENT_INTEREST, static_cast<uint32_t>(kTopic + random_.below(kTopics)));
            hub(hubproto::kEcho, 0, noise);
            break;
        case 3:  // bytes that mean nothing
            hostile.out.assign(noise_.begin() + static_cast<ptrdiff_t>(random_.below(kOffsets)), noise_.end());
            break;
        case 4:  // half of a long message
            append(hostile.out, headerOf(type, hostile.eid, victim, 0, 0), std::span{noise_}.first(plan_.longest));
            reinterpret_cast<VosMsgHeader *>(hostile.out.data())->dataLength = kPayloadLimit;
            hostile.kind = 0;
            break;
        case 5:  // questions
            hub(random_.once(2) ? hubproto::kListClients : hubproto::kGetCounters, 0);
            hub(VOS_MSG_GET_EID_BY_APP_NAME, 0, noise);
            connection.toClient.drop(random_.below(connection.toClient.size() + 1));
            break;
        case 6:  // delayed messages and interests, as many as it can
            for (uint32_t i = 0; i < 20; i++) {
                const uint32_t ms = static_cast<uint32_t>(random_.below(100000));
                hub(VOS_MSG_REGISTER_DELAYED_MSG, i, std::as_bytes(std::span{&ms, 1}));
                hub(VOS_MSG_REGISTER_EVENT_INTEREST, static_cast<uint32_t>(random_.next()));
            }
            connection.toClient.drop(connection.toClient.size());
            break;
        case 7:  // looks on and does not read
            hub(hubproto::kMonitorAttach, 0);
            hostile.kind = 0;
            break;
        default:  // requests, to itself and to others, never answered
            append(hostile.out,
                   headerOf(type, hostile.eid, random_.once(2) ? victim : hostile.eid, VOS_MSG_FLAG_REQUEST, 0), noise);
            connection.toClient.drop(connection.toClient.size());
            break;
    }
}

void Play::act() {
    steps_++;
    const size_t who = random_.below(plan_.honest + plan_.hostile);
    if (who >= plan_.honest) {
        hostileAct(hostile_[who - plan_.honest], who - plan_.honest);
    } else if (!clients_[who]) {
        launch(who);
    } else if (plan_.deaths != 0 && random_.once(plan_.deaths)) {
        die(who);
    } else {
        actOf(*clients_[who]);
    }
}

void Play::settleStep() {
    for (size_t slot = 0; slot < kSlots; slot++) {
        if (clients_[slot]) {
            steps_++;
            write(*clients_[slot], true);
            read(*clients_[slot], true);
        }
    }
    if (++settleTurns_ > 2'000'000) {
        finding("the hub does not come to rest");
    }
}

void Play::leaveStep(bool *over) {
    if (world_.connections() > 0) {
        if (++settleTurns_ > 10'000) {
            finding("a connection outlives its client");
        }
        return;
    }
    const HeapUse use = hubHeap();
    if (plan_.faults == 0 && (use.blocks > blocksBefore_ + 100 || use.bytes > bytesBefore_ + 1'000'000)) {
        finding("%zu blocks, %zu bytes are left of clients that have gone", use.blocks - blocksBefore_,
                use.bytes - bytesBefore_);
    }
    *over = true;
}

// --- what must hold

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
    const size_t waiting = settled ? plan_.hostile * (3 * plan_.queueLimit + 4 * plan_.longest) : plan_.memoryLimit;
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
        const bool silent = row.eid >= 900 && row.eid < 900 + plan_.hostile && row.monitor != 0;
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

size_t Play::wait(std::span<epoll_event> events, int64_t timeoutNs, bool *over) {
    if (blocksBefore_ == 0) {
        blocksBefore_ = hubHeap().blocks;
        bytesBefore_ = hubHeap().bytes;
    }
    size_t count = 0;
    steps_++;
    world_.setAllocationsFail(plan_.faults != 0 && phase_ == Phase::kActs);
    if (phase_ == Phase::kActs) {
        const size_t most = 1 + random_.below(8);
        for (size_t i = 0; i < most; i++) {
            act();
        }
        world_.pass(static_cast<int64_t>(1000 + random_.below(20'000)));
        if (random_.once(plan_.jumps)) {
            world_.pass(static_cast<int64_t>(random_.below(200 * kMs)));
        }
        failAllocation(plan_.faults != 0 && random_.once(plan_.faults) ? 1 + random_.below(20) : 0,
                       1 + random_.below(3));
        count = world_.ready(events);
        checkTurns(count, timeoutNs);
        if (steps_ >= cycleEnd_) {
            phase_ = Phase::kSettles;
            quietNs_ = 0;
            settleTurns_ = 0;
        }
        return count;
    }
    failAllocation(0);
    if (phase_ == Phase::kLeaves) {
        leaveStep(over);
        return *over ? 0 : world_.ready(events);
    }
    const uint64_t before = moved_;
    settleStep();
    count = world_.ready(events);
    checkTurns(count, timeoutNs);
    if (moved_ != before || timeoutNs == 0) {
        quietNs_ = 0;
        world_.pass(10'000);
        return count;
    }
    const int64_t whole = timeoutNs < 0 ? 100 * kMs : std::min(timeoutNs, 100 * kMs);
    const int64_t ns = count > 0 ? 1000 : whole;
    world_.pass(ns);
    quietNs_ += ns;
    if (quietNs_ > kQuietNs) {
        checkSettled();
        phase_ = Phase::kActs;
        cycleEnd_ = steps_ + 200 + random_.below(8000);
        if (random_.once(4)) {
            world_.pass(3'700'000 * kMs);
        }
        if (cycle_++ == cycles_) {
            phase_ = Phase::kLeaves;
            settleTurns_ = 0;
            for (size_t slot = 0; slot < kSlots; slot++) {
                if (clients_[slot]) {
                    world_.close(*clients_[slot]->connection);
                }
            }
            for (Hostile &hostile : hostile_) {
                if (hostile.connection) {
                    world_.close(*hostile.connection);
                }
            }
        }
    }
    return count;
}

}  // namespace hubsim
