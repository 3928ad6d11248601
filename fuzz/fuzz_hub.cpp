// Several clients send the hub whatever the input says, in pieces; an honest pair goes on talking, and nothing is left
// when all have gone.
#include <algorithm>
#include <cstring>
#include <string>

#include "common/hub_protocol.h"
#include "hub_sim/finding.h"
#include "hub_sim/stage.h"
#include "internal/bytes.h"
#include "internal/message_header.h"

namespace {

using hubsim::Connection;

constexpr size_t kBad = 6;
constexpr size_t kLongest = 1 << 16;
constexpr int kIdle = 4;      // rounds without a word, most of 100 ms: the hub has come to rest
constexpr int kRounds = 200;  // and if it does not
constexpr uint32_t kTypes[] = {VOS_MSG_LAUNCHED,
                               VOS_MSG_REGISTER_DELAYED_MSG,
                               VOS_MSG_UNREGISTER_DELAYED_MSG,
                               VOS_MSG_REGISTER_EVENT_INTEREST,
                               VOS_MSG_UNREGISTER_EVENT_INTEREST,
                               VOS_MSG_IS_APP_RUNNING,
                               VOS_MSG_HEARTBEAT,
                               VOS_MSG_REBOOT,
                               VOS_MSG_ADD_ENTITY_INFO,
                               VOS_MSG_DEL_ENTITY_INFO,
                               VOS_MSG_GET_EID_BY_APP_NAME,
                               VOS_MSG_GET_PLUGIN_CFG_DIR,
                               hubproto::kMonitorAttach,
                               hubproto::kListClients,
                               hubproto::kGetCounters,
                               hubproto::kEcho};
constexpr VosEntityId kIds[] = {EID_HUBD, 900, 901, 902, 903, 0x10000, 0x10001, 999};

class Script final : public hubsim::Scene {
  public:
    Script(hubsim::World &world, const uint8_t *data, size_t size) : world_{world}, input_{data, size} {
        for (const VosEntityId eid : {100U, 101U}) {
            honest_[eid - 100] = world_.connect(1, kLongest, kLongest);
            sendTo(*honest_[eid - 100], VOS_MSG_LAUNCHED, eid, EID_HUBD, VOS_MSG_FLAG_EVENT, 1,
                   std::string{"a\0b\0", 4});
        }
    }

    size_t wait(std::span<epoll_event> events, int64_t timeoutNs, bool *over) override {
        if (++steps_ < 8) {
            return world_.ready(events);  // the pair is let in first
        }
        for (const auto &connection : honest_) {
            connection->toClient.drop(input_.remaining() > 0 ? connection->toClient.size() : 0);
        }
        if (input_.remaining() > 0) {
            act();
            return world_.ready(events);
        }
        // All of the bad ones go; then the pair must be as well as before.
        for (auto &connection : bad_) {
            if (connection) {
                world_.close(*connection);
                connection.reset();
            }
        }
        const size_t count = world_.ready(events);
        world_.pass(count > 0 ? 1000 : std::clamp<int64_t>(timeoutNs, 1000, 100 * hubsim::kMs));
        idle_ = count > 0 ? 0 : idle_ + 1;
        if (idle_ < kIdle && ++rounds_ < kRounds) {
            return count;
        }
        idle_ = rounds_ = 0;
        *over = end();
        return count;
    }
    uint64_t steps() const override { return steps_; }

  private:
    /** What comes next when the hub has come to rest; whether nothing does. */
    bool end() {
        if (++ends_ == 1) {
            honest_[1]->toClient.drop(honest_[1]->toClient.size());
            sendTo(*honest_[0], 77, 100, 101, VOS_MSG_FLAG_EVENT, 7, "still there");
        } else if (ends_ == 2) {
            if (honest_[0]->hubClosed || honest_[1]->hubClosed ||
                honest_[1]->toClient.size() != sizeof(VosMsgHeader) + 11) {
                hubsim::finding("the pair does not talk any more: %zu bytes", honest_[1]->toClient.size());
            }
            world_.close(*honest_[0]);
            world_.close(*honest_[1]);
        }
        return ends_ == 3;
    }

    static void sendTo(Connection &connection, uint32_t type, VosEntityId src, VosEntityId dst, uint16_t flags,
                       uint32_t word, const std::string &payload) {
        const VosMsgHeader header = vos::messageHeader(type, src, dst, flags, word, payload.size());
        connection.toHub.put(reinterpret_cast<const std::byte *>(&header), sizeof header);
        connection.toHub.put(reinterpret_cast<const std::byte *>(payload.data()), payload.size());
    }

    std::string bytes(size_t most) {
        const size_t count = std::min(most, input_.remaining());
        const auto *text = reinterpret_cast<const char *>(input_.bytes(count).data());
        return {text, count};
    }

    void act() {
        const uint8_t op = input_.u8();
        std::shared_ptr<Connection> &one = bad_[(op >> 4U) % kBad];
        const auto index = static_cast<VosEntityId>((op >> 4U) % kBad);
        if (!one || one->hubClosed) {
            one = world_.connect(static_cast<int>(7000 + index), kLongest, 4096);
        }
        if (one->toHub.size() > kLongest) {
            return;
        }
        const uint8_t what = input_.u8();
        switch (op & 7U) {
            case 0: {
                const std::string text = bytes(what);
                one->toHub.put(reinterpret_cast<const std::byte *>(text.data()), text.size());
                break;
            }
            case 1:
                sendTo(*one, VOS_MSG_LAUNCHED, what < 128 ? 900 + index : 0, EID_HUBD, VOS_MSG_FLAG_EVENT, 7000 + index,
                       bytes(what % 16) + '\0' + "/bin" + '\0');
                break;
            case 2:
            case 3: {
                const uint8_t flags = input_.u8();
                sendTo(*one, kTypes[what % std::size(kTypes)], 900 + index, kIds[(what >> 4U) % std::size(kIds)],
                       flags & 0x3fU, input_.u8(), bytes(flags < 128 ? 4 : 444));
                break;
            }
            case 4:  // a payload that is long, or that stays half
                sendTo(*one, what, 900 + index, kIds[what % std::size(kIds)], VOS_MSG_FLAG_EVENT, 0,
                       std::string(size_t{what} * 200, 'x'));
                break;
            case 5:
                one->toClient.drop(std::min(one->toClient.size(), size_t{what} * 16));
                break;
            case 6:
                world_.close(*one);
                one.reset();
                break;
            default:
                world_.pass(int64_t{what} * what * hubsim::kMs);
                break;
        }
    }

    hubsim::World &world_;
    vos::ByteReader input_;
    std::shared_ptr<Connection> honest_[2];
    std::shared_ptr<Connection> bad_[kBad];
    uint64_t steps_ = 0;
    int idle_ = 0;
    int rounds_ = 0;
    int ends_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1 || size > 4096) {
        return 0;
    }
    hubsim::Random random{data[0]};
    hubsim::World world{random};
    Script script{world, data + 1, size - 1};
    hubsim::play(world, script, kLongest, size_t{1} << 20, size_t{4} << 20);
    return 0;
}
