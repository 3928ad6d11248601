// Receives whatever a broken hub may send: every message handed out is exactly what stood on the wire.
#include <sanitizer/lsan_interface.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "vos/mem.h"
#include "vos/msg.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<uint8_t> wire(data, data + std::min<size_t>(size, 65536));
    // Lengths of gigabytes cost the sanitizer minutes; those that cannot be allocated at all are kept.
    for (size_t at = 0; at + sizeof(VosMsgHeader) <= wire.size();) {
        uint32_t length = 0;
        memcpy(&length, &wire[at + offsetof(VosMsgHeader, dataLength)], sizeof length);
        if (length < 0xFFFFFFE0) {
            length &= 0xFFFFF;
            memcpy(&wire[at + offsetof(VosMsgHeader, dataLength)], &length, sizeof length);
        }
        at += sizeof(VosMsgHeader) + size_t{length};
    }
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, fds) != 0) {
        return 0;
    }
    const ssize_t written = write(fds[1], wire.data(), wire.size());
    close(fds[1]);
    size_t position = 0;
    for (;;) {
        VosMsgHeader *msg = nullptr;
        uint32_t timeoutMs = 0;
        // The header of a message that cannot be held stays allocated by contract.
        __lsan_disable();
        const VosRet ret = oalVosMsg_receive(fds[0], &msg, &timeoutMs);
        __lsan_enable();
        if (ret != VOS_RET_OK) {
            if (msg != nullptr) {
                abort();
            }
            break;
        }
        const size_t length = sizeof *msg + msg->dataLength;
        if (position + length > static_cast<size_t>(written) || memcmp(msg, &wire[position], length) != 0) {
            abort();
        }
        position += length;
        VOS_FREE(msg);
    }
    close(fds[0]);
    return 0;
}
