// DNS replies as any host may send them: nothing outside the message is read, and decoding ends.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "vos/dns.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<uint8_t> message(VOS_DNS_MESSAGE_SIZE);
    std::copy_n(data, std::min(size, message.size()), message.begin());
    for (const uint32_t room : {1u, 20u, 2000u}) {
        std::vector<char> hostIp(room);
        util_dnsDecodeResponse(message.data(), hostIp.data(), room);
        if (strnlen(hostIp.data(), room) == room) {
            abort();
        }
    }
    std::vector<char> name(VOS_DNS_NAME_SIZE);
    const uint8_t *cursor = message.data();
    while (util_dnsDecodeName(name.data(), &cursor, message.data()) > 0) {
    }
    return 0;
}
