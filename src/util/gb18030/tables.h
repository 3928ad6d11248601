// Tables between GB18030 codes and Unicode, GB 18030-2005.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vos {

constexpr size_t kTwoByteCodes = 24191;
constexpr size_t kFourByteCodes = 23952;
constexpr size_t kReverseCodes1 = 43996;
constexpr size_t kReverseCodes2 = 8192;

// Code point of a two-byte code, at (first - 0x81) * 192 + second - 0x40; 0: unmapped.
extern const uint32_t __twobyte_to_ucs[kTwoByteCodes];
// Code points of the four-byte codes 0 to 22204, 33377 to 33549 and 37845 to 39418; 0: unmapped.
extern const uint32_t __fourbyte_to_ucs[kFourByteCodes];
// Codes of U+0080 to U+ABFF and U+D7A4 to U+D7FF, and of U+E000 to U+FFFF. A first byte of 0x81 or more begins the code
// itself; a smaller one holds the index of a four-byte code; two zeros: unmapped.
extern const uint8_t __ucs_to_gb18030_tab1[kReverseCodes1][2];
extern const uint8_t __ucs_to_gb18030_tab2[kReverseCodes2][2];

}  // namespace vos
