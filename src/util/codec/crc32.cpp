// CRC-32 register update and its published table.
#include "util/codec/crc32_paths.h"
#include "vos/codec.h"

using vos::crc32::afterByte;

#define ENTRIES_4(i) afterByte(i), afterByte((i) + 1), afterByte((i) + 2), afterByte((i) + 3)
#define ENTRIES_16(i) ENTRIES_4(i), ENTRIES_4((i) + 4), ENTRIES_4((i) + 8), ENTRIES_4((i) + 12)
#define ENTRIES_64(i) ENTRIES_16(i), ENTRIES_16((i) + 16), ENTRIES_16((i) + 32), ENTRIES_16((i) + 48)

constinit const uint64_t local_crc32_table[256] = {ENTRIES_64(0), ENTRIES_64(64), ENTRIES_64(128), ENTRIES_64(192)};

uint32_t utilCrc_getCrc32(const uint8_t *buf, uint32_t len, uint32_t crc) {
    return vos::crc32::run(buf, len, crc);
}
