// What a daemon log keeps in its shared segment: the settings and the ring of call sites. The header mask, which is the
// process's own, stands with the settings.
#include "vos/log.h"

#include "internal/cut_text.h"
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

namespace vos::log {

// Runs for every suppressed entry of a daemon, hence no printf.
void recordCallSite(LogSharedConfig *config, const char *func, uint32_t line) {
    uint32_t slot = read(config->callSiteNext);
    if (slot < VOS_LOG_CALL_SITES) {
        CutText{config->callSites[slot]}
            .character('<')
            .text(func == nullptr ? "?" : func)
            .character(':')
            .signedNumber(line)
            .character('>');
        slot++;
    }
    write(config->callSiteNext, slot % VOS_LOG_CALL_SITES);
}

}  // namespace vos::log

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
    // Contract: 32 before the first init, unlike the 32768 that the init writes.
    return get(&LogSharedConfig::maxSize, 32);
}

void vosLog_setHeaderMask(uint32_t mask) {
    g_state.headerMask = mask;
}

uint32_t vosLog_getHeaderMask() {
    return g_state.headerMask;
}

void vosLog_cache(const char *func, uint32_t line) {
    if (vos::log::g_state.config != nullptr) {
        vos::log::recordCallSite(vos::log::g_state.config, func, line);
    }
}
