// Detached task threads and the message that brings their completion back to the main loop.
#include "vos/task.h"

#include <pthread.h>
#include <atomic>
#include <cstring>

#include "internal/bytes.h"
#include "internal/code_address.h"
#include "internal/dbg.h"
#include "internal/message.h"

using vos::MemPtr;

namespace {

struct TaskRecord {
    UtilTaskFunc startFunc;
    void *arg;
    UtilTaskFunc finishFunc;
    VosMsgHandle *msgHandle;
};
static_assert(sizeof(TaskRecord) == 32);

struct FinishMessage {
    VosMsgHeader header;
    void *arg;
};
static_assert(sizeof(FinishMessage) == 40);

// ---- completion functions and the 32-bit words that stand for them ----

// Every completion function of the process, in order of first use. Entries are only ever added, by a compare-and-swap
// on the first empty one, so readers need no lock and a position never changes its meaning.
struct FunctionChunk {
    static constexpr uint32_t kSize = 64;

    std::atomic<uintptr_t> functions[kSize];
    std::atomic<FunctionChunk *> next;
};

FunctionChunk g_functions;  // daemons with more than 64 completions get further chunks from the memory manager

// No code lies this low: the system keeps the first pages of every process empty.
constexpr uint32_t kLowestCode = 32768;

// A function below 4 GiB is its own token, the others get numbers below all code.
uint32_t tokenOf(uintptr_t function, uint32_t position) {
    return function <= UINT32_MAX ? static_cast<uint32_t>(function) : position + 1;
}

// The chunk behind `chunk`, made where there is none; NULL when memory is short.
FunctionChunk *nextChunk(FunctionChunk &chunk) {
    FunctionChunk *next = chunk.next.load(std::memory_order_acquire);
    if (next != nullptr) {
        return next;
    }
    auto fresh = vos::allocZeroed<FunctionChunk>();
    if (!fresh || chunk.next.compare_exchange_strong(next, fresh.get(), std::memory_order_acq_rel)) {
        return fresh.release();
    }
    return next;  // another thread was faster
}

// The token of a function, entered in the table at its first use; 0 when memory or numbers run out.
uint32_t tokenFor(UtilTaskFunc func) {
    const auto wanted = reinterpret_cast<uintptr_t>(func);
    uint32_t position = 0;
    FunctionChunk *chunk = &g_functions;
    for (; chunk != nullptr && position + FunctionChunk::kSize < kLowestCode; chunk = nextChunk(*chunk)) {
        for (std::atomic<uintptr_t> &entry : chunk->functions) {
            uintptr_t function = entry.load(std::memory_order_acquire);
            if (function == 0 && entry.compare_exchange_strong(function, wanted, std::memory_order_acq_rel)) {
                function = wanted;
            }
            if (function == wanted) {
                return tokenOf(wanted, position);
            }
            position++;
        }
    }
    return 0;
}

// The started completion function that a token stands for; NULL for an unknown one.
UtilTaskFunc startedFunctionFor(uint32_t token) {
    uint32_t position = 0;
    for (const FunctionChunk *chunk = &g_functions; chunk != nullptr;
         chunk = chunk->next.load(std::memory_order_acquire)) {
        for (const std::atomic<uintptr_t> &entry : chunk->functions) {
            const uintptr_t function = entry.load(std::memory_order_acquire);
            if (function == 0) {
                return nullptr;
            }
            if (tokenOf(function, position) == token) {
                return reinterpret_cast<UtilTaskFunc>(function);
            }
            position++;
        }
    }
    return nullptr;
}

// Where code lies below 4 GiB a sender may also name a function that this process never started a task with.
UtilTaskFunc functionFor(uint32_t token) {
    const UtilTaskFunc started = startedFunctionFor(token);
    return started == nullptr && vos::isCode(token) ? reinterpret_cast<UtilTaskFunc>(uintptr_t{token}) : started;
}

// ---- the thread ----

void announceEnd(const TaskRecord &task) {
    const VosEntityId self = vosMsg_getHandleEid(task.msgHandle);
    FinishMessage finish{
        vos::messageHeader(VOS_MSG_SYSTEM_TASK_FINISH, self, self, VOS_MSG_FLAG_EVENT, tokenFor(task.finishFunc)),
        task.arg};
    finish.header.dataLength = sizeof finish.arg;
    if (vosMsg_send(task.msgHandle, &finish.header) != VOS_RET_OK) {
        VOS_DBG_ERROR("Send VOS_MSG_SYSTEM_TASK_FINISH msg failed");
    }
}

void runTask(const TaskRecord *task) {
    if (task == nullptr) {
        VOS_DBG_ERROR("Data is NULL");
        return;
    }
    if (task->startFunc == nullptr) {
        VOS_DBG_ERROR("startFunc is NULL");
        return;
    }
    task->startFunc(task->arg);
    if (task->finishFunc == nullptr) {
        return;
    }
    if (task->msgHandle != nullptr) {
        announceEnd(*task);
    } else {
        task->finishFunc(task->arg);
    }
}

void *util_taskRoutine(void *data) {
    pthread_detach(pthread_self());
    const MemPtr<TaskRecord> task{static_cast<TaskRecord *>(data)};
    runTask(task.get());
    return nullptr;
}

}  // namespace

VosRet UTIL_taskStart(UtilTaskFunc startFunc, void *arg, UtilTaskFunc finishFunc, VosMsgHandle *msgHandle) {
    auto task = vos::allocZeroed<TaskRecord>();
    // The token is taken here, so that the thread finds it without an allocation that could fail.
    if (!task || (finishFunc != nullptr && msgHandle != nullptr && tokenFor(finishFunc) == 0)) {
        VOS_DBG_ERROR("Malloc task data failed");
        return VOS_RET_NO_RESOURCE;
    }
    *task = TaskRecord{startFunc, arg, finishFunc, msgHandle};
    pthread_t thread;
    // Contract: the thread owns the record, which stays allocated when there is none; heap statistics count it.
    const int error = pthread_create(&thread, nullptr, util_taskRoutine, task.release());
    if (error != 0) {
        VOS_DBG_ERROR("pthread_create failed(%s)", strerror(error));
        return VOS_RET_ERROR;
    }
    return VOS_RET_OK;
}

VosRet UTIL_taskFinish(const VosMsgHeader *msg) {
    if (msg == nullptr || msg->wordData == 0) {
        VOS_DBG_ERROR("func is NULL");
        return VOS_RET_BAD_ARG;
    }
    if (msg->dataLength != sizeof(void *)) {
        VOS_DBG_ERROR("arg is invalid");
        return VOS_RET_BAD_ARG;
    }
    const UtilTaskFunc func = functionFor(msg->wordData);
    if (func == nullptr) {
        VOS_DBG_ERROR("func 0x%x is unknown", msg->wordData);
        return VOS_RET_BAD_ARG;
    }
    func(vos::ByteReader{msg + 1, sizeof(void *)}.native<void *>());
    return VOS_RET_OK;
}
