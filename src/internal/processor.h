// What the processor offers beyond its architecture's base, found out once for each process.
#pragma once

namespace vos {

enum class Feature : unsigned {
    byteShuffle = 1,       // x86: SSSE3
    carrylessProduct = 2,  // x86: PCLMULQDQ
    crc32 = 4,             // 64-bit Arm: CRC32
    sha256 = 8             // x86: SHA with SSSE3 and SSE4.1; 64-bit Arm: SHA2
};

bool processorHas(Feature feature);

}  // namespace vos
