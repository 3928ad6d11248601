// Whether an address out of a message may be called.
#pragma once

#include <link.h>

#include <cstddef>
#include <cstdint>

namespace vos {

/** Whether an address lies in a code segment of the program or of one of its libraries. Senders are other processes:
 *  one that was restarted or built anew must not send this one into the void.
 */
inline bool isCode(uintptr_t address) {
    const auto holdsIt = [](dl_phdr_info *object, size_t, void *data) {
        const uintptr_t wanted = *static_cast<const uintptr_t *>(data);
        for (size_t i = 0; i < object->dlpi_phnum; i++) {
            const auto &segment = object->dlpi_phdr[i];
            if (segment.p_type == PT_LOAD && (segment.p_flags & PF_X) != 0 &&
                wanted - (object->dlpi_addr + segment.p_vaddr) < segment.p_memsz) {
                return 1;
            }
        }
        return 0;
    };
    return dl_iterate_phdr(holdsIt, &address) != 0;
}

}  // namespace vos
