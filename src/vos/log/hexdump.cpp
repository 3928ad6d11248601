// Hexadecimal dump into the daemon log, piece by piece.
#include "vos/log.h"

#include <algorithm>
#include <span>

#include "vos/log/parts.h"

namespace {

constexpr size_t kRowSize = 16;
constexpr size_t kGapAfter = 7;

template <typename... Args>
void piece(const char *format, Args... args) {
    // Every piece carries its own colours, as readers of these dumps know them.
    vosLog_vprintf(VOS_LOG_LEVEL_DEBUG, vosLog_getDestination(), false, format, args...);
}

void dumpRow(size_t offset, std::span<const uint8_t> row) {
    piece("%08X: ", static_cast<unsigned>(offset));
    for (size_t i = 0; i < kRowSize; i++) {
        if (i < row.size()) {
            piece("%02X ", row[i]);
        } else {
            piece("%s", "   ");
        }
        if (i == kGapAfter) {
            piece("%s", "  ");
        }
    }
    piece("%s", "; ");
    for (const uint8_t byte : row) {
        piece("%c", byte >= 0x20 && byte <= 0x80 ? byte : '.');
    }
    piece("%s", "\r\n");
}

}  // namespace

void vosLog_hexDump(const uint8_t *buf, uint32_t len) {
    if (buf == nullptr || vos::log::g_state.config == nullptr || len == 0) {
        return;
    }
    piece("\r\n%08X  00 01 02 03 04 05 06 07   08 09 0A 0B 0C 0D 0E 0F ; ASCII [%ld bytes]\r\n",
          static_cast<uint32_t>(reinterpret_cast<uintptr_t>(buf)), static_cast<long>(len));
    piece("%s", "------------------------------------------------------------------------------\r\n");
    const std::span<const uint8_t> all{buf, len};
    for (size_t offset = 0; offset < len; offset += kRowSize) {
        dumpRow(offset, all.subspan(offset, std::min<size_t>(kRowSize, len - offset)));
    }
}
