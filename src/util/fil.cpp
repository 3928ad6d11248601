// File helpers as daemons call them; the operating-system layer does the work.
#include "vos/fil.h"

#include <algorithm>

int utilFil_isFilePresent(const char *path) {
    return oalFil_isFilePresent(path);
}

uint32_t utilFil_getSize(const char *path) {
    return oalFil_getSize(path);
}

VosRet utilFil_copyToBuffer(const char *path, uint8_t *buf, uint32_t *bufSize) {
    return oalFil_copyToBuffer(path, buf, bufSize);
}

VosRet utilFil_writeToProc(const char *path, const char *text) {
    return oalFil_writeToProc(path, text);
}

VosRet utilFil_writeToFileEnd(const char *path, const char *text) {
    return oalFil_writeToFileEnd(path, text);
}

VosRet utilFil_writeBufferToFile(const char *path, const uint8_t *buf, uint32_t len) {
    return oalFil_writeBufferToFile(path, buf, len);
}

VosRet utilFil_removeDir(const char *path) {
    return oalFil_removeDir(path);
}

VosRet utilFil_chownDir(const char *path, uint32_t owner) {
    return oalFil_chownDir(path, owner);
}

VosRet utilFil_makeDir(const char *path) {
    return oalFil_makeDir(path);
}

int64_t utilFil_scaleSizetoKB(int64_t count, int64_t unitSize) {
    const __int128 kib = (__int128{count} * unitSize + 512) / 1024;
    return static_cast<int64_t>(std::clamp<__int128>(kib, INT64_MIN, INT64_MAX));
}
