// Files in the directories that the hub keeps for plug-ins.
#include <cstring>
#include <string_view>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "vos/plugin.h"
#include "vos/text.h"

using vos::MemPtr;

namespace {

constexpr uint32_t kReplyTimeoutMs = 10000;
constexpr size_t kMaxDirectory = 512;
constexpr size_t kPathSize = 512;

enum Directory : uint32_t { kData = 0, kTemporary = 1 };

// Asks the hub for a directory; the reply block holds it.
MemPtr<VosMsgHeader> askForDirectory(VosMsgHandle *handle, Directory directory) {
    const MemPtr<VosMsgHeader> msg = vos::allocZeroed<VosMsgHeader>();
    if (!msg) {
        VOS_DBG_ERROR("Fail to malloc msg!");
        return {};
    }
    msg->type = VOS_MSG_GET_PLUGIN_CFG_DIR;
    msg->src = vosMsg_getHandleEid(handle);
    msg->dst = EID_HUBD;
    msg->flags = VOS_MSG_FLAG_REQUEST;
    msg->wordData = directory;
    VosMsgHeader *answer = nullptr;
    const VosRet ret = vosMsg_sendAndGetReplyBufWithTimeout(handle, msg.get(), &answer, kReplyTimeoutMs);
    MemPtr<VosMsgHeader> reply{answer};
    if (ret != VOS_RET_OK || !reply || reply->dataLength == 0) {
        VOS_DBG_ERROR("Fail to get plugin %s config dir!", directory == kData ? "data" : "temp");
        return {};
    }
    return reply;
}

FILE *openFile(VosMsgHandle *handle, Directory directory, const char *fileName, const char *mode) {
    if (handle == nullptr || fileName == nullptr || mode == nullptr) {
        return nullptr;
    }
    const MemPtr<VosMsgHeader> reply = askForDirectory(handle, directory);
    if (!reply) {
        return nullptr;
    }
    const char *text = reinterpret_cast<const char *>(reply.get() + 1);
    const size_t length = strnlen(text, reply->dataLength < kMaxDirectory ? reply->dataLength : kMaxDirectory);
    char path[kPathSize];
    const int needed =
        util_snprintf(__func__, __LINE__, path, sizeof path, "%.*s%s", static_cast<int>(length), text, fileName);
    VOS_DBG_DEBUG("%s:%s", directory == kData ? "dataCfg" : "tmpCfg", path);
    if (needed < 0 || static_cast<size_t>(needed) >= sizeof path) {
        return nullptr;  // never another file than the one that was asked for
    }
    return fopen(path, mode);
}

}  // namespace

FILE *UTIL_pluginGetDataFile(VosMsgHandle *handle, const char *fileName, const char *mode) {
    return openFile(handle, kData, fileName, mode);
}

FILE *UTIL_pluginGetTmpFile(VosMsgHandle *handle, const char *fileName, const char *mode) {
    return openFile(handle, kTemporary, fileName, mode);
}
