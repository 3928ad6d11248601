// Two daemons on vos/vos.hpp: one serves a procedure and publishes an event, the other subscribes and calls.
#include <cstdio>
#include <vos/vos.hpp>

using namespace std::chrono_literals;

enum : uint32_t { MSG_MESH = 0x1000f120, MSG_MESH_CHANGED = 0x1000f122, MESH_ADD = 1 };

struct MeshNode {
    uint32_t id, quality;
};

int main() {
    vos::Connection hub = vos::Connection::open("meshd").value(), viewerHub = vos::Connection::open("viewer").value();
    vos::Loop loop{hub}, viewer{viewerHub};
    uint32_t nodes = 0;
    loop.serve(MSG_MESH, MESH_ADD, [&](const vos::Request &request) {
        const auto node = request.as<MeshNode>();
        if (!node) {
            return request.fail(VOS_RET_BAD_ARG);
        }
        hub.publish(MSG_MESH_CHANGED, ++nodes, *node);
        request.reply(nodes);
    });

    viewer.on(MSG_MESH_CHANGED, [](const vos::MessageView &event) { printf("event: %u nodes\n", event.word()); });
    viewerHub.subscribe(MSG_MESH_CHANGED).value();
    const MeshNode node{.id = 7, .quality = 90};
    const vos::Call call =
        viewer.ask({.to = hub.eid(), .type = MSG_MESH, .word = MESH_ADD, .payload = node, .procedure = true},
                   [&](vos::Result<vos::Message> reply) {
                       printf("reply: %u\n", reply ? reply->as<uint32_t>().value_or(0) : 0);
                       viewer.stop();
                   });
    while (!viewer.stopped()) {
        loop.turn(1ms);  // a daemon has one loop and calls run()
        viewer.turn(1ms);
    }
    return 0;
}

/* Prints:
event: 1 nodes
reply: 1
*/
