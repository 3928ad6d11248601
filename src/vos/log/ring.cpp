// The ring of call sites in the shared segment.
#include "vos/log.h"

#include "internal/cut_text.h"
#include "vos/log/parts.h"

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

void vosLog_cache(const char *func, uint32_t line) {
    if (vos::log::g_state.config != nullptr) {
        vos::log::recordCallSite(vos::log::g_state.config, func, line);
    }
}
