// Any text through both base64 decoders: results in bounds, and what decoded encodes to a text that decodes the same.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "vos/codec.h"
#include "vos/mem.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text{reinterpret_cast<const char *>(data), size};
    uint32_t length = 0;
    uint8_t *plain = UTILs_base64Decode(text.c_str(), &length);
    if (plain[length] != 0) {
        abort();
    }
    VOS_FREE(plain);

    uint8_t *bytes = nullptr;
    const VosRet ret = utilB64_decode(text.c_str(), &bytes, &length);
    if ((ret == VOS_RET_OK) != (bytes != nullptr)) {
        abort();
    }
    if (bytes != nullptr) {
        char *again = UTIL_base64Encode(bytes, length);
        uint32_t lengthAgain = 0;
        uint8_t *bytesAgain = UTILs_base64Decode(again, &lengthAgain);
        if (lengthAgain != length || memcmp(bytes, bytesAgain, length) != 0) {
            abort();
        }
        VOS_FREE(bytesAgain);
        VOS_FREE(again);
        VOS_FREE(bytes);
    }
    return 0;
}
