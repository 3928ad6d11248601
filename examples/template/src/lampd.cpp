// lampd in C++. The marks in brackets are for the manual's tutorial, which goes
// through this file.
#include "lampd.hpp"

#include <cstdio>
#include <thread>
#include <utility>
#include <vos/vos.hpp>

#include "buttond.hpp"

namespace {

using namespace std::chrono_literals;

// [serve]
class Lamp : public lampd::Server {
  public:
    // [serve]
    // [listen]
    explicit Lamp(vos::Loop &loop) : Server{loop} {
        const buttond::Client button{loop.hub(), EID_HUBD};
        const auto listening = button.onPressed(loop, [this] { toggle(); });
        if (!listening) {
            VOS_LOG_ERROR("no button (%s)", listening.message());
        }
        loop.every(1s, [this] { loop_.hub().heartbeat(); });
    }
    // [listen]

  private:
    template <typename T>
    using ReplyTo = vos::iface::ReplyTo<T, false>;

    // [request]
    void get(ReplyTo<lampd::State> reply) override { reply.send(state_); }
    // [request]

    // [procedure]
    void set(const lampd::State &wanted, ReplyTo<lampd::State> reply) override {
        if (wanted.level > LAMPD_MAX_LEVEL) {
            VOS_LOG_ERROR("a level of %u %% is more than the lamp can do",
                          wanted.level);
            reply.fail(VOS_RET_BAD_ARG);
            return;
        }
        const lampd::State before = state_;
        become(wanted);
        if (wanted.offAfterMs != 0) {
            switchOffAfter(std::chrono::milliseconds{wanted.offAfterMs});
        }
        reply.send(before);
    }
    // [procedure]

    // [subscribe]
    void toggle() {
        lampd::State wanted{};
        if (state_.level == 0) {
            wanted.level = LAMPD_MAX_LEVEL;
        }
        become(wanted);
    }
    // [subscribe]

    // [task]
    static bool shines(uint32_t level) {
        std::this_thread::sleep_for(20ms);  // a driver would look at the lamp
        return level <= LAMPD_MAX_LEVEL;
    }
    static uint32_t tryOut() {  // in a thread of its own
        uint32_t faults = 0;
        for (uint32_t level = 0; level <= LAMPD_MAX_LEVEL; level += 20) {
            faults += shines(level) ? 0 : 1;
        }
        return faults;
    }

    void check(ReplyTo<lampd::CheckReply> reply) override {
        loop_.task(tryOut, [reply = std::move(reply)](uint32_t faults) mutable {
            reply.send({faults});
        });
    }
    // [task]

    // [event]
    void become(const lampd::State &wanted) {
        state_ = wanted;
        changes_++;
        VOS_LOG_NOTICE("%u %% from now on", state_.level);
        publishChanged(state_);
    }
    // [event]

    // [delay]
    void switchOffAfter(std::chrono::milliseconds delay) {
        // A delay belongs to the change that asked for it.
        loop_.afterMessage(delay, [this, change = changes_] {
            if (change == changes_) {
                become({});
            }
        });
    }
    // [delay]

    lampd::State state_{};
    uint32_t changes_ = 0;
};

}  // namespace

int main() {
    // [start]
    auto hub = vos::Connection::open(LAMPD_SERVER);
    if (!hub) {
        fprintf(stderr, "lampd: cannot start (%s); is the hub running?\n",
                hub.message());
        return 1;
    }
    const vos::Log log{hub->eid()};
    vos::Loop loop{*hub};
    // [start]
    // [stop]
    const Lamp lamp{loop};
    return loop.run();  // SIGTERM ends it with 0, a hub that is gone with 1
    // [stop]
}
