// Requests and responses of plug-ins as any process may send them: texts are read within the message only.
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "vos/plugin.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    size_t touched = 0;
    for (const bool response : {false, true}) {
        auto *message = static_cast<VosMsgHeader *>(calloc(1, sizeof(VosMsgHeader) + size));
        message->type = VOS_MSG_PLUGIN_SET_PARAMETER;
        message->dataLength = static_cast<uint32_t>(size);
        memcpy(message + 1, data, size);
        PluginReqMsg request{};
        PluginRespMsg answer{};
        const VosRet ret =
            response ? UTIL_pluginRecvRespMsg(message, &answer) : UTIL_pluginRecvReqMsg(message, &request);
        if (ret == VOS_RET_OK) {
            for (const char *text :
                 {request.pluginName, request.commonCtx, answer.pluginName, static_cast<const char *>(answer.retCtx)}) {
                touched += text == nullptr ? 0 : strlen(text);
            }
        }
        free(message);
    }
    return touched > 4 * size ? abort(), 0 : 0;
}
