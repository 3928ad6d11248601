// What the memory manager offers inside the library beyond the public calls.
#pragma once

#include <cstdint>

namespace vos {

/** vosMem_realloc() of a sound block to more than its size, for a caller that writes every new byte before anybody can
 *  read it: the pattern for fresh memory is left out. */
void *enlargeUnfilled(void *buf, uint32_t size, const char *func, uint32_t line);

/** vosMem_free() of such a block when only its first `used` bytes were written: memory that was promised and never came
 *  is not touched. */
void freeUnfilled(void *buf, uint32_t used, const char *func, int line);

}  // namespace vos
