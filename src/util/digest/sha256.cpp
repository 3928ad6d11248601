// SHA-256, FIPS 180-4: the stream around the block function.
#include <cstring>

#include "internal/block_buffer.h"
#include "internal/own_names.h"
#include "internal/processor.h"
#include "util/digest/sha256_blocks.h"
#include "vos/digest.h"

namespace {

using vos::kDigestBlockSize;

constexpr uint32_t kInitialState[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                       0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

void transformBlocks(Sha256Context *context, const uint8_t *data, size_t blocks) {
    if (vos::processorHas(vos::Feature::kSha256)) {
        vos::sha256BlocksAccelerated(context->state, data, blocks);
    } else {
        vos::sha256BlocksPortable(context->state, data, blocks);
    }
}

// A context that was never begun may hold any fill.
size_t fillOf(const Sha256Context *context) {
    return context->fill % kDigestBlockSize;
}

}  // namespace

VOS_OPEN_NAME void sha256_init(Sha256Context *context) {
    if (context != nullptr) {
        context->fill = 0;
        context->bitLength = 0;
        memcpy(context->state, kInitialState, sizeof kInitialState);
    }
}

VOS_OPEN_NAME void sha256_update(Sha256Context *context, const uint8_t *data, uint32_t len) {
    if (context == nullptr || data == nullptr) {
        return;
    }
    const size_t fill =
        vos::feedBlocks(context->block, fillOf(context), data, len, [context](const uint8_t *bytes, size_t blocks) {
            transformBlocks(context, bytes, blocks);
            context->bitLength += uint64_t{blocks} * kDigestBlockSize * 8;
        });
    context->fill = static_cast<uint32_t>(fill);
}

VOS_OPEN_NAME void sha256_final(Sha256Context *context, uint8_t hash[SHA256_HASH_SIZE]) {
    if (context == nullptr || hash == nullptr) {
        return;
    }
    uint8_t length[vos::kDigestLengthSize];
    vos::storeBig(length, context->bitLength + fillOf(context) * 8);
    vos::feedPadding(context->block, fillOf(context), length,
                     [context](const uint8_t *bytes, size_t blocks) { transformBlocks(context, bytes, blocks); });
    for (size_t i = 0; i < 8; i++) {
        vos::storeBig(hash + 4 * i, context->state[i]);
    }
    explicit_bzero(context, sizeof *context);
}
