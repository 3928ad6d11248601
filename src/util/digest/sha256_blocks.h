// The block function of SHA-256, once portable and once with the processor's own instructions.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vos {

/** The round constants K, FIPS 180-4, 4.2.2; aligned for vector loads. */
extern const uint32_t kSha256RoundConstants[64];

/** Takes `blocks` blocks of 64 bytes into the eight hash words. */
void sha256BlocksPortable(uint32_t state[8], const uint8_t *data, size_t blocks);

/** The same with SHA instructions (x86 SHA extensions, Armv8 SHA2). Only where processorHas(Feature::kSha256). */
void sha256BlocksAccelerated(uint32_t state[8], const uint8_t *data, size_t blocks);

}  // namespace vos
