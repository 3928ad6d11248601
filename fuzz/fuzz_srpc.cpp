// Dispatches whatever a requester may send: a handler runs only for its own id and never for an incomplete request.
#include <cstdlib>
#include <cstring>
#include <vector>

#include "vos/srpc.h"

namespace {

constexpr uint32_t kCount = 6;
constexpr uint32_t kBases[] = {100, 103, 0x7FFFFFFD, 0xFFFFFFFD};

uint32_t g_calls;

template <uint32_t Base>
VosRet handle(VosMsgHandle *, VosMsgHeader *msg) {
    g_calls++;
    const uint32_t slot = msg->wordData - Base;
    if (slot == 0 || slot >= kCount || msg->dataLength < 8) {
        abort();
    }
    return msg->wordData;
}

void registerTables() {
    static SrpcHandler handlers[][kCount] = {
        {nullptr, handle<kBases[0]>, nullptr, handle<kBases[0]>, handle<kBases[0]>, handle<kBases[0]>},
        {handle<kBases[1]>, handle<kBases[1]>, handle<kBases[1]>, handle<kBases[1]>, handle<kBases[1]>,
         handle<kBases[1]>},
        {handle<kBases[2]>, handle<kBases[2]>, handle<kBases[2]>, nullptr, handle<kBases[2]>, handle<kBases[2]>},
        {handle<kBases[3]>, handle<kBases[3]>, handle<kBases[3]>, handle<kBases[3]>, handle<kBases[3]>, nullptr},
    };
    static SrpcTaskParams tables[std::size(kBases)];
    for (size_t i = 0; i < std::size(kBases); i++) {
        tables[i] = {kCount, handlers[i], kBases[i]};
        SRPC_setTaskParams(nullptr, &tables[i]);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool registered = (registerTables(), true);
    if (!registered || size < sizeof(VosMsgHeader)) {
        return 0;
    }
    std::vector<uint8_t> block(data, data + size);
    auto *msg = reinterpret_cast<VosMsgHeader *>(block.data());
    msg->dataLength = static_cast<uint32_t>(size - sizeof *msg);
    g_calls = 0;
    // The handle is passed through; nothing is sent.
    const VosRet ret = SRPC_msgProcess(reinterpret_cast<VosMsgHandle *>(block.data()), msg);
    if (g_calls > 1 || ret != (g_calls == 1 ? msg->wordData : msg->dataLength < 8 ? VOS_RET_BAD_ARG : VOS_RET_ERROR)) {
        abort();
    }
    return 0;
}
