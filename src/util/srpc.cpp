// Handler tables of numbered procedures and the dispatch of requests to them.
#include "vos/srpc.h"

#include <array>

#include "internal/dbg.h"
#include "internal/own_names.h"

namespace {

constexpr uint32_t kMinPayload = 8;

std::array<const SrpcTaskParams *, SRPC_MAX_TASK_PARAMS> g_tables;
uint32_t g_tableCount;

// The first table that holds `id`, and its slot.
const SrpcTaskParams *findTable(uint32_t id, int32_t *indexOut) {
    for (uint32_t i = 0; i < g_tableCount; i++) {
        const SrpcTaskParams *table = g_tables[i];
        if (table == nullptr) {
            continue;
        }
        const auto index = static_cast<int32_t>(id - table->baseId);
        // The first slot of a table is never used: daemons number their procedures from 1.
        if (index > 0 && index < table->count) {
            *indexOut = index;
            return table;
        }
    }
    return nullptr;
}

}  // namespace

VOS_OPEN_NAME VosRet SRPC_setTaskParams(void *, SrpcTaskParams *table) {
    if (g_tableCount >= g_tables.size()) {
        VOS_DBG_ERROR("Exceed max task params num");
        return VOS_RET_ERROR;
    }
    g_tables[g_tableCount++] = table;
    return VOS_RET_OK;
}

VOS_OPEN_NAME VosRet SRPC_msgProcess(VosMsgHandle *msgHandle, VosMsgHeader *msg) {
    if (msgHandle == nullptr || msg == nullptr) {
        VOS_DBG_ERROR("msgHandle = %p, msg = %p\n", static_cast<void *>(msgHandle), static_cast<void *>(msg));
        return VOS_RET_BAD_ARG;
    }
    if (msg->dataLength < kMinPayload) {
        // Log readers match the backslash and the n.
        VOS_DBG_ERROR("Receive uncompleted srpc request msg, length(%u).\\n", msg->dataLength);
        return VOS_RET_BAD_ARG;
    }
    const uint32_t id = msg->wordData;
    int32_t index = 0;
    const SrpcTaskParams *table = findTable(id, &index);
    if (table == nullptr) {
        VOS_DBG_ERROR("Unknown msg id(%u)\n", id);
        return VOS_RET_ERROR;
    }
    const SrpcHandler handler = table->handlers == nullptr ? nullptr : table->handlers[index];
    if (handler == nullptr) {
        VOS_DBG_ERROR("Unsupported msg id(%u)\n", id);
        return VOS_RET_ERROR;
    }
    const VosRet ret = handler(msgHandle, msg);
    if (ret != VOS_RET_OK) {
        VOS_DBG_ERROR("Call srpc fail(%u)\n", ret);
    }
    return ret;
}
