// What the processor offers beyond its architecture's base, found out once for each process.
#ifndef VOS_UTIL_PROCESSOR_H
#define VOS_UTIL_PROCESSOR_H

namespace vos {

enum class Feature : unsigned {
    byteShuffle = 1,       // x86: SSSE3
    carrylessProduct = 2,  // x86: PCLMULQDQ
    crc32 = 4              // 64-bit Arm: CRC32
};

bool processorHas(Feature feature);

}  // namespace vos

#endif
