// What honest clients get, held against what they know.
#include "play.h"

#include <algorithm>
#include <cstring>

#include "common/hub_protocol.h"
#include "finding.h"
#include "internal/message_header.h"
#include "vos/ret.h"

namespace hubsim {

namespace {

constexpr uint32_t kResult = 7;

}  // namespace

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
            append(client.out, vos::messageHeader(header.type, client.eid, header.src, VOS_MSG_FLAG_RESPONSE, kResult));
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

}  // namespace hubsim
