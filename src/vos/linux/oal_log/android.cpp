// Android's log.
#include "vos/log/parts.h"

#include <log/log_id.h>

void vos::log::writeToAndroid(uint32_t level, bool, const char *text) {
    const MemPtr<char> read = readAsFormat(text);
    __android_log_buf_print(LOG_ID_SYSTEM, static_cast<int>(level), appName(), "%s", read ? read.get() : text);
}
