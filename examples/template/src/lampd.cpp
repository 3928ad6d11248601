// lampd in C++: a procedure, a request, an event, a delayed message.
#include <cstdio>
#include <utility>
#include <vos/vos.hpp>

#include "lampd.hpp"

namespace {

class Lamp : public lampd::Server {
  public:
    using Server::Server;

  private:
    using Reply = vos::iface::ReplyTo<lampd::State, false>;

    void set(const lampd::State &wanted, Reply reply) override {
        if (wanted.level > LAMPD_MAX_LEVEL) {
            VOS_LOG_ERROR("a level of %u %% is more than the lamp can do", wanted.level);
            reply.fail(VOS_RET_BAD_ARG);
            return;
        }
        reply.send(std::exchange(state_, wanted));
        VOS_LOG_NOTICE("%u %% from now on", state_.level);
        const unsigned change = ++changes_;  // a delay belongs to the change that asked for it
        if (state_.offAfterMs != 0) {
            loop_.afterMessage(std::chrono::milliseconds{state_.offAfterMs}, [this, change] { switchOff(change); });
        }
        publishChanged(state_);
    }

    void get(Reply reply) override { reply.send(state_); }

    void switchOff(unsigned change) {
        if (change == changes_) {
            state_ = {};
            changes_++;
            publishChanged(state_);
        }
    }

    lampd::State state_{};
    unsigned changes_ = 0;
};

}  // namespace

int main() {
    auto hub = vos::Connection::open("lampd");
    if (!hub) {
        fprintf(stderr, "lampd: cannot start (%s); is the hub running?\n", hub.message());
        return 1;
    }
    const vos::Log log{hub->eid()};
    vos::Loop loop{*hub};  // SIGTERM ends run() with 0, a hub that is gone with 1
    const Lamp lamp{loop};
    return loop.run();
}
