// Clients that do what they like.
#include "play.h"

#include <algorithm>

#include "common/hub_protocol.h"
#include "internal/message_header.h"

namespace hubsim {

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
                   vos::messageHeader(VOS_MSG_LAUNCHED, hostile.eid, EID_HUBD, VOS_MSG_FLAG_EVENT,
                                      static_cast<uint32_t>(pid)),
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
        append(hostile.out, vos::messageHeader(what, hostile.eid, EID_HUBD, VOS_MSG_FLAG_REQUEST, word), payload);
    };
    switch (hostile.kind) {
        case 0:  // never announces itself
            break;
        case 1:  // floods somebody
            for (int i = 0; i < 30; i++) {
                append(hostile.out, vos::messageHeader(type, hostile.eid, victim, VOS_MSG_FLAG_EVENT, 0), noise);
            }
            break;
        case 2:  // wants copies, events and its own requests' answers, and reads none
            hub(VOS_MSG_REGISTER_EVENT_INTEREST, static_cast<uint32_t>(kTopic + random_.below(kTopics)));
            hub(hubproto::kEcho, 0, noise);
            break;
        case kNoise:
            hostile.out.assign(noise_.begin() + static_cast<ptrdiff_t>(random_.below(kOffsets)), noise_.end());
            break;
        case 4:  // half of a long message
            append(hostile.out, vos::messageHeader(type, hostile.eid, victim, 0, 0),
                   std::span{noise_}.first(plan_.longest));
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
            append(
                hostile.out,
                vos::messageHeader(type, hostile.eid, random_.once(2) ? victim : hostile.eid, VOS_MSG_FLAG_REQUEST, 0),
                noise);
            connection.toClient.drop(connection.toClient.size());
            break;
    }
}

}  // namespace hubsim
