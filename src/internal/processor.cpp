// Asks the processor, or the kernel on its behalf, for optional instructions.
#include "internal/processor.h"

#include <atomic>

#if defined(__x86_64__)
#include <cpuid.h>
#elif defined(__aarch64__)
#include <sys/auxv.h>
#endif

namespace vos {

namespace {

constexpr unsigned kAsked = 1U << 31;

unsigned maskIf(bool present, Feature feature) {
    return present ? static_cast<unsigned>(feature) : 0;
}

unsigned ask() {
#if defined(__x86_64__)
    unsigned eax = 0;
    unsigned ebx = 0;
    unsigned ecx = 0;
    unsigned edx = 0;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0) {
        return kAsked;
    }
    const unsigned basic = ecx;
    const bool hasLeaf7 = __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0;
    constexpr unsigned kForSha = bit_SSSE3 | bit_SSE4_1;
    return kAsked | maskIf((basic & bit_SSSE3) != 0, Feature::kByteShuffle) |
           maskIf((basic & bit_PCLMUL) != 0, Feature::kCarrylessProduct) |
           maskIf((basic & kForSha) == kForSha && hasLeaf7 && (ebx & bit_SHA) != 0, Feature::kSha256);
#elif defined(__aarch64__)
    constexpr unsigned long kHwcapSha2 = 1UL << 6;
    constexpr unsigned long kHwcapCrc32 = 1UL << 7;
    const unsigned long offered = getauxval(AT_HWCAP);
    return kAsked | maskIf((offered & kHwcapCrc32) != 0, Feature::kCrc32) |
           maskIf((offered & kHwcapSha2) != 0, Feature::kSha256);
#else
    return kAsked;
#endif
}

}  // namespace

bool processorHas(Feature feature) {
    // Two threads may both ask; they get the same answer.
    static constinit std::atomic<unsigned> known{0};
    unsigned features = known.load(std::memory_order_relaxed);
    if (features == 0) {
        features = ask();
        known.store(features, std::memory_order_relaxed);
    }
    return (features & static_cast<unsigned>(feature)) != 0;
}

}  // namespace vos
