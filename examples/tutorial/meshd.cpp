// meshd: keeps the nodes of a mesh. The manual's tutorial builds it.
#include <algorithm>
#include <cstdio>
#include <map>
#include <thread>
#include <vos/vos.hpp>

#include "mesh.h"

using namespace std::chrono_literals;

using Nodes = std::map<uint32_t, MeshNode>;

// [task]
static uint32_t measure(const Nodes &nodes) {  // in a thread of its own
    uint32_t worst = MESH_BEST;
    for (const auto &[id, node] : nodes) {
        std::this_thread::sleep_for(5ms);  // slow
        worst = std::min(worst, node.quality);
    }
    return worst;
}
// [task]

int main() {
    // [start]
    auto hub = vos::Connection::open("meshd");
    if (!hub) {
        fprintf(stderr, "meshd: no hub (%s)\n", hub.message());
        return 1;
    }
    Nodes nodes;
    MeshStatus status{.nodes = 0, .worst = MESH_BEST};
    vos::Loop loop{*hub};
    // [start]
    // [log]
    const vos::Log log{hub->eid()};
    VOS_LOG_NOTICE("started");
    // [log]
    // [request]
    loop.serve(MSG_MESH_STATUS,
               [&](const vos::Request &request) { request.reply(status); });
    // [request]
    // [procedure]
    loop.serve(MSG_MESH, MESH_ADD, [&](const vos::Request &request) {
        const auto node = request.as<MeshNode>();
        if (!node || node->quality > MESH_BEST ||
            (!nodes.contains(node->id) && nodes.size() == MESH_MOST)) {
            return request.fail(VOS_RET_BAD_ARG);
        }
        nodes[node->id] = *node;
        status.nodes = static_cast<uint32_t>(nodes.size());
        hub->publish(MSG_MESH_CHANGED, status.nodes, *node);
        request.reply(status.nodes);
    });
    // [procedure]
    // [subscribe]
    loop.on(MSG_LINK_CHANGED, [](const vos::MessageView &event) {
        VOS_LOG_NOTICE("the link is %s", event.word() != 0 ? "up" : "down");
    });
    if (const auto subscribed = hub->subscribe(MSG_LINK_CHANGED); !subscribed) {
        VOS_LOG_ERROR("link events: %s", subscribed.message());
    }
    // [subscribe]
    // [timer]
    loop.every(1s, [&] { hub->heartbeat(); });
    // [timer]
    // [task in main]
    bool surveying = false;
    loop.every(300ms, [&] {
        if (!surveying) {
            surveying = bool{loop.task([nodes] { return measure(nodes); },
                                       [&](uint32_t worst) {
                                           surveying = false;
                                           status.worst = worst;
                                           VOS_LOG_DEBUG("worst %u", worst);
                                       })};
        }
    });
    // [task in main]
    // [stop]
    const int result = loop.run();
    VOS_LOG_NOTICE("stopped, %d", result);
    return result;  // the loop's end waits for the thread
    // [stop]
}
