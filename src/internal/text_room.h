// Sizes of callers' text buffers, which travel as unsigned words, for the copies that take signed ones.
#pragma once

#include <cstdint>

namespace vos {

/** `size` for util_strncpy() and util_strncat(). */
constexpr int32_t textRoom(uint32_t size) {
    return size < INT32_MAX ? static_cast<int32_t>(size) : INT32_MAX;
}

}  // namespace vos
