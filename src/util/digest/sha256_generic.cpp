// Processors whose SHA instructions the library does not know.
#if !defined(__x86_64__) && !(defined(__aarch64__) && defined(__ARM_NEON))

#include "util/digest/sha256_blocks.h"

namespace vos {

void sha256BlocksAccelerated(uint32_t state[8], const uint8_t *data, size_t blocks) {
    sha256BlocksPortable(state, data, blocks);
}

}  // namespace vos

#endif
