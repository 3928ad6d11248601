// Diagnostics and assertion reports.
#include "internal/dbg.h"

#include <cstdarg>

namespace {

void print(int priority, const char *format, va_list arguments) {
    if (access(VOS_DBG_GATE_FILE, F_OK) == 0) {
        vsyslog(priority, format, arguments);
    }
}

}  // namespace

void vos::dbgPrint(int priority, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    print(priority, format, arguments);
    va_end(arguments);
}

void vos::dbgError(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    print(LOG_ERR, format, arguments);
    va_end(arguments);
}

void utilAst_assertFunc(const char *file, int line, const char *exprText, int condition) {
    if (condition == 0) {
        // Contract: log scanners look for this fixed location, not for that of this call.
        vos::dbgError("[%s:%d]: assertion \"%s\" failed at %s:%d", "utilAst_assertFunc", 9, exprText, file, line);
    }
}
