// Settings of the daemon log: those in the shared segment and the header mask.
#include "vos/log.h"

#include "vos/log/parts.h"

namespace {

using vos::log::g_state;

uint32_t get(uint32_t LogSharedConfig::*field, uint32_t unattached) {
    return g_state.config == nullptr ? unattached : vos::log::read(g_state.config->*field);
}

void set(uint32_t LogSharedConfig::*field, uint32_t value) {
    if (g_state.config != nullptr) {
        vos::log::write(g_state.config->*field, value);
    }
}

}  // namespace

void vosLog_setLevel(uint32_t level) {
    set(&LogSharedConfig::level, level);
}

uint32_t vosLog_getLevel() {
    return get(&LogSharedConfig::level, VOS_LOG_LEVEL_ERROR);
}

void vosLog_setDestination(uint32_t destination) {
    set(&LogSharedConfig::destination, destination);
}

uint32_t vosLog_getDestination() {
    return get(&LogSharedConfig::destination, VOS_LOG_DEST_STDERR);
}

void vosLog_setMaxSize(uint32_t bytes) {
    set(&LogSharedConfig::maxSize, bytes);
}

uint32_t vosLog_getMaxSize() {
    // Callers know 32 as the size before the first init, unlike the 32768 that the init writes.
    return get(&LogSharedConfig::maxSize, 32);
}

void vosLog_setHeaderMask(uint32_t mask) {
    g_state.headerMask = mask;
}

uint32_t vosLog_getHeaderMask() {
    return g_state.headerMask;
}
