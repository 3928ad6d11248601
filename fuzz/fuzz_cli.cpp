// Runs whatever a requester may send as a command line: the arguments are exactly those in the payload, and a request
// that does not hold them all runs nothing.
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "vos/cli.h"
#include "vos/msg/handle.h"

namespace {

const VosMsgHeader *g_request;
int g_runs;

uint32_t command(int argc, char **argv, FILE *out) {
    g_runs++;
    const auto *payload = reinterpret_cast<const char *>(g_request + 1);
    const char *expected = payload + 8;
    for (int i = 0; i < argc; i++) {
        if (argv[i] != expected) {
            abort();
        }
        fputs(argv[i], out);
        expected += strlen(argv[i]) + 1;
    }
    const bool inside = argc == 0 || expected <= payload + g_request->dataLength;
    if (!inside || argc > UTIL_CLI_MAX_ARGS || argv[argc] != nullptr) {
        abort();
    }
    return 0;
}

// What the first byte of the input chooses: the address in the payload as it must never be followed, or a good one.
void setAddress(std::vector<uint8_t> &block, uint8_t choice) {
    const uintptr_t addresses[] = {0, 1, reinterpret_cast<uintptr_t>(block.data()), UINTPTR_MAX,
                                   reinterpret_cast<uintptr_t>(command)};
    const uintptr_t address = addresses[choice % std::size(addresses)];
    if (block.size() >= sizeof(VosMsgHeader) + sizeof address) {
        memcpy(&block[sizeof(VosMsgHeader)], &address, sizeof address);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1 + sizeof(VosMsgHeader)) {
        return 0;
    }
    std::vector<uint8_t> block(data + 1, data + size);
    setAddress(block, data[0]);
    auto *msg = reinterpret_cast<VosMsgHeader *>(block.data());
    msg->dataLength = static_cast<uint32_t>(block.size() - sizeof *msg);
    g_request = msg;

    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) {
        return 0;
    }
    VosMsgHandle handle{.eid = 50, .commFd = fds[0], .putBackQueue = nullptr, .putBackTail = nullptr};
    for (const bool byAddress : {false, true}) {
        g_runs = 0;
        const VosRet ret = byAddress ? UTIL_cliHandleCmd(&handle, msg) : UTIL_processRemoteCli(&handle, msg, command);
        VosMsgHeader reply{};
        const bool answered = recv(fds[1], &reply, sizeof reply, MSG_DONTWAIT) == sizeof reply;
        if (!answered || ret != (g_runs == 1 ? VOS_RET_OK : VOS_RET_BAD_ARG) || reply.wordData != ret) {
            abort();
        }
    }
    close(fds[0]);
    close(fds[1]);
    return 0;
}
