// What the processor offers beyond its architecture's base, found out once for each process.
#pragma once

namespace vos {

enum class Feature : unsigned {
    kByteShuffle = 1,       // x86: SSSE3
    kCarrylessProduct = 2,  // x86: PCLMULQDQ
    kCrc32 = 4,             // 64-bit Arm: CRC32
    kSha256 = 8             // x86: SHA with SSSE3 and SSE4.1; 64-bit Arm: SHA2
};

bool processorHas(Feature feature);

}  // namespace vos
