// Asking without waiting: with a callback, with a limit, given up, and in a coroutine.
#include <cstdio>
#include <vector>
#include <vos/vos.hpp>

using namespace std::chrono_literals;

enum : uint32_t { MSG_DOUBLE = 0x1000f200, MSG_SILENCE = 0x1000f201 };

/** One question after the other, without a callback. */
static vos::Flow doubleUp(vos::Loop &loop, VosEntityId peer) {
    uint32_t number = 1;
    while (number < 100) {
        const auto reply = co_await loop.ask({.to = peer, .type = MSG_DOUBLE, .payload = number});
        number = reply ? reply->as<uint32_t>().value_or(1000) : 1000;  // another size is no answer
    }
    printf("flow: %u\n", number);
    loop.stop();
}

int main() {
    vos::Connection hub = vos::Connection::open("asker").value();
    vos::Loop loop{hub};
    const VosEntityId peer = hub.eid();  // ourselves, here; hub.lookUp("name") for others

    std::vector<vos::PendingReply> kept;
    loop.serve(MSG_DOUBLE, [](const vos::Request &request) { request.reply(2 * request.as<uint32_t>().value_or(0)); });
    loop.serve(MSG_SILENCE, [&](const vos::Request &request) { kept.push_back(request.later()); });

    const vos::Call call =
        loop.ask({.to = peer, .type = MSG_DOUBLE, .payload = uint32_t{21}}, [](vos::Result<vos::Message> reply) {
            printf("callback: %u\n", reply ? reply->as<uint32_t>().value_or(0) : 0);
        });
    {
        const vos::Call givenUp = loop.ask({.to = peer, .type = MSG_DOUBLE, .payload = uint32_t{1}},
                                           [](vos::Result<vos::Message>) { printf("never called\n"); });
    }  // its reply will be dropped
    const vos::Call late =
        loop.ask({.to = peer, .type = MSG_SILENCE, .patience = 20ms}, [&](vos::Result<vos::Message> reply) {
            printf("silence: %s\n", reply.message());
            doubleUp(loop, peer).detach();
        });
    loop.run();
    printf("dropped: %u\n", static_cast<unsigned>(loop.counters().lateReplies));
    return 0;
}

/* Prints:
callback: 42
silence: timed out
flow: 128
dropped: 1
*/
