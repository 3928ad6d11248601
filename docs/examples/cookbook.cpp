// Recipes: asynchronous requests, procedures, events, coroutines, tasks, delays and another loop around this one.
#include <poll.h>

#include <cstdio>
#include <vos/vos.hpp>

using namespace std::chrono_literals;

enum : uint32_t { MSG_MESH = 0x1000f120, MSG_MESH_CHANGED = 0x1000f121, MSG_SLOW = 0x1000f122, MESH_ADD = 1 };

struct MeshNode {
    uint32_t id;
    uint32_t quality;
};

/** Asks twice, without a callback. */
static vos::Flow addTwo(vos::Loop &loop, VosEntityId mesh) {
    for (const MeshNode &node : {MeshNode{1, 90}, MeshNode{2, 80}}) {
        const auto reply =
            co_await loop.ask({.to = mesh, .type = MSG_MESH, .word = MESH_ADD, .payload = node, .procedure = true});
        printf("flow: %u nodes\n", reply ? reply->as<uint32_t>().value_or(0) : 0);
    }
    const auto nobody = co_await loop.ask({.to = 4711, .type = MSG_MESH});
    printf("flow: %s\n", nobody.message());
    loop.stop();
}

int main() {
    vos::Connection hub = vos::Connection::open("meshd").value();
    vos::Loop loop{hub};
    uint32_t nodes = 0;
    loop.serve(MSG_MESH, MESH_ADD, [&](const vos::Request &request) {
        const auto node = request.as<MeshNode>();
        if (!node) {
            return request.fail(VOS_RET_BAD_ARG);
        }
        hub.publish(MSG_MESH_CHANGED, ++nodes, *node);
        request.reply(nodes);
    });
    // A reply that takes its time: the handler returns, the reply goes along.
    loop.serve(MSG_SLOW, [&](const vos::Request &request) {
        auto reply = std::make_shared<vos::PendingReply>(request.later());
        loop.task([] { return 6 * 7; }, [reply](int result) { reply->reply(result); });
    });
    hub.subscribe(MSG_MESH_CHANGED).value();
    loop.on(MSG_MESH_CHANGED, [](const vos::MessageView &event) {
        printf("event: node %u\n", event.as<MeshNode>().value_or(MeshNode{}).id);
    });

    addTwo(loop, hub.eid()).detach();
    loop.run();

    bool done = false;
    const vos::Call call =
        loop.ask({.to = hub.eid(), .type = MSG_SLOW, .patience = 5s}, [&](vos::Result<vos::Message> reply) {
            printf("callback: %d\n", reply ? reply->as<int>().value_or(0) : -1);
            loop.afterMessage(1ms, [&] { done = true; });
        });
    pollfd inForeignLoop{loop.descriptor().value(), POLLIN, 0};  // in epoll, libuv, libevent or GLib
    do {
        loop.dispatch().value();
    } while (!done && poll(&inForeignLoop, 1, -1) > 0);
    return 0;
}

/* Prints:
event: node 1
flow: 1 nodes
event: node 2
flow: 2 nodes
flow: peer is gone
callback: 42
*/
