// Android's log, whose library libvos.so opens at first use.
#include "vos/log_parts.h"

#include <log/log_id.h>

#ifdef VOS_LIBLOG_SONAME
#include "internal/late_library.h"
#endif

namespace {

#ifdef VOS_LIBLOG_SONAME
constinit vos::LateLibrary s_library;
decltype(&__android_log_buf_print) s_print = nullptr;

bool bindLog() {
    return s_library.bind(VOS_LIBLOG_SONAME, "__android_log_buf_print\0", s_print);
}
#else
constexpr decltype(&__android_log_buf_print) s_print = __android_log_buf_print;

bool bindLog() {
    return true;
}
#endif

}  // namespace

void vos::log::writeToAndroid(uint32_t level, bool, const char *text) {
    if (bindLog()) {
        const MemPtr<char> read = readAsFormat(text);
        s_print(LOG_ID_SYSTEM, static_cast<int>(level), appName(), "%s", read ? read.get() : text);
    }
}
