// The numbers of an interface, checked when they are compiled.
#include <algorithm>
#include <array>
#include <cstdio>
#include <vos/vos.hpp>

// Belongs into the header that a daemon shares with those who talk to it.
enum MeshType : uint32_t {
    MESH_BLOCK = 0x10005a00,            // 256 numbers of this daemon's own
    MSG_MESH = MESH_BLOCK + 0,          // procedures; their numbers begin at 1
    MSG_MESH_STATUS = MESH_BLOCK + 1,   // a request and its reply have one type
    MSG_MESH_CHANGED = MESH_BLOCK + 2,  // an event has one of its own
    // MESH_BLOCK + 3 was MSG_MESH_RESET until 1.4: never given again
    MSG_MESH_SURVEY = MESH_BLOCK + 4,
};

// The library's and the hub's blocks (vos/msg_types.h), and that of the tools and examples.
constexpr std::array kTaken = {0x10000200u, 0x10000800u, 0x10002c00u, 0x10003600u,
                               0x10007000u, 0x10009100u, 0x1000f000u};

constexpr uint32_t blockOf(uint32_t type) {
    return type & ~0xffu;
}
static_assert(std::ranges::find(kTaken, blockOf(MESH_BLOCK)) == kTaken.end(), "somebody else's block");
static_assert(blockOf(VOS_MSG_HEARTBEAT) == kTaken[1] && blockOf(VOS_MSG_LAUNCHED) == kTaken[0]);

constexpr std::array kOurs = {MSG_MESH, MSG_MESH_STATUS, MSG_MESH_CHANGED, MSG_MESH_SURVEY};
static_assert(std::ranges::adjacent_find(kOurs, std::ranges::greater_equal{}) == kOurs.end(), "twice, or out of order");
static_assert(blockOf(kOurs.back()) == MESH_BLOCK, "outside our block");

int main() {
    for (const uint32_t type : kOurs) {
        printf("0x%x\n", type);
    }
    return 0;
}

/* Prints:
0x10005a00
0x10005a01
0x10005a02
0x10005a04
*/
