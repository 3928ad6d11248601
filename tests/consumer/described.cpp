// A user's program on code that the installed vosgen makes.
#include "meshd.hpp"

int main() {
    meshd::ListNodesReply reply{};
    alignas(8) const unsigned char payload[] = {0, 0, 0, 0, 0, 0, 0, 0, 'y', 0};
    return meshd_readListNodesReply(payload, sizeof payload, &reply) == VOS_RET_OK && reply.comment[0] == 'y' ? 0 : 1;
}
