// Assertion reports through the diagnostic channel.
#include "vos/dbg.h"

void utilAst_assertFunc(const char *file, int line, const char *exprText, int condition) {
    if (condition != 0 || access(VOS_DBG_GATE_FILE, F_OK) != 0) {
        return;
    }
    // Contract: log scanners look for this fixed location, not for that of this call.
    syslog(LOG_ERR, "[%s:%d]: assertion \"%s\" failed at %s:%d", "utilAst_assertFunc", 9, exprText, file, line);
}
