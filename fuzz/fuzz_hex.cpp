// Any text as hexadecimal digits: what is accepted comes back when written and read again.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "vos/codec.h"
#include "vos/mem.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text{reinterpret_cast<const char *>(data), size};
    uint8_t *bytes = nullptr;
    uint32_t length = 0;
    if (util_hexStringToBinaryBuf(text.c_str(), &bytes, &length) != VOS_RET_OK) {
        if (bytes != nullptr) {
            abort();
        }
        return 0;
    }
    char *hex = nullptr;
    uint8_t *again = nullptr;
    uint32_t lengthAgain = 0;
    if (util_binaryBufToHexString(bytes, length, &hex) != VOS_RET_OK ||
        util_hexStringToBinaryBuf(hex, &again, &lengthAgain) != VOS_RET_OK || length != lengthAgain ||
        memcmp(bytes, again, length) != 0) {
        abort();
    }
    VOS_FREE(bytes);
    VOS_FREE(hex);
    VOS_FREE(again);
    return 0;
}
