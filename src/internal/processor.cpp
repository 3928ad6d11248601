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
    return kAsked | maskIf((ecx & bit_SSSE3) != 0, Feature::byteShuffle) |
           maskIf((ecx & bit_PCLMUL) != 0, Feature::carrylessProduct);
#elif defined(__aarch64__)
    constexpr unsigned long kHwcapCrc32 = 1UL << 7;
    return kAsked | maskIf((getauxval(AT_HWCAP) & kHwcapCrc32) != 0, Feature::crc32);
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
