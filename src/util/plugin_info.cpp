// Keys of a plug-in's description file.
#include "vos/plugin_info.h"

#include <cstdio>
#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/read_line.h"
#include "internal/slice.h"
#include "internal/text_room.h"
#include "vos/text.h"

namespace {

constexpr const char *kInfoFile = "../Info.plugin";
constexpr size_t kNameLineSize = 128;
constexpr size_t kImportLineSize = 2048;

VosRet readKey(const char *path, const char *key, size_t lineSize, char *buf, uint32_t size) {
    if (path == nullptr || buf == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const vos::UniqueFile file{fopen(path, "re")};
    if (!file) {
        VOS_DBG_DEBUG("could not open %s", path);
        return VOS_RET_OPEN_FAILED;
    }
    char line[kImportLineSize];
    while (vos::readLine(file.get(), line, lineSize) != vos::Line::kNone) {
        if (util_pluginIsField(key, line) != 0) {
            const vos::MemPtr<char> value{util_pluginParseGetVal(key, line)};
            if (value) {
                util_strncpy(__func__, __LINE__, buf, value.get(), vos::textRoom(size));
            }
            break;
        }
    }
    return VOS_RET_OK;
}

}  // namespace

VosRet UTIL_pluginGetInfoName(const char *path, char *buf, uint32_t size) {
    return readKey(path, "Name", kNameLineSize, buf, size);
}

VosRet UTIL_pluginGetName(char *buf, uint32_t size) {
    return readKey(kInfoFile, "Name", kNameLineSize, buf, size);
}

VosRet UTIL_pluginGetImportInterface(char *buf, uint32_t size) {
    return readKey(kInfoFile, "ImportInterface", kImportLineSize, buf, size);
}

int util_pluginIsField(const char *key, const char *line) {
    return key != nullptr && line != nullptr && vos::startsWith(line, key) ? 1 : 0;
}

char *util_pluginParseGetVal(const char *key, const char *line) {
    if (key == nullptr || line == nullptr || strlen(line) < strlen(key)) {
        return nullptr;
    }
    const char *colon = strchr(line + strlen(key), ':');
    if (colon == nullptr) {
        return nullptr;
    }
    char *value = vosMem_strdup(colon + 1, __func__, __LINE__);
    if (value == nullptr) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return nullptr;
    }
    util_strTrim(value);
    return value;
}
