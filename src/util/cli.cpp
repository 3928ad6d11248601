// Remote command line: arguments out of a request, output into the result file, result into the reply.
#include "vos/cli.h"

#include <fcntl.h>
#include <unistd.h>

#include "internal/bytes.h"
#include "internal/code_address.h"
#include "internal/dbg.h"
#include "internal/guards.h"

using vos::ByteReader;

namespace {

// A command line whose strings lie in the request.
struct Arguments {
    int count = 0;
    char *values[UTIL_CLI_MAX_ARGS + 1] = {};
};

ByteReader payloadOf(const VosMsgHeader *msg) {
    return ByteReader{msg + 1, msg->dataLength};
}

// The address at the front of the payload; 0 when there is none.
uintptr_t commandAddress(const VosMsgHeader *msg) {
    return payloadOf(msg).native<uintptr_t>();
}

bool readArguments(VosMsgHeader *msg, Arguments *out) {
    if (msg->dataLength == 0) {
        return true;  // Contract: a bare header runs the command, whatever its wordData.
    }
    if (msg->wordData > UTIL_CLI_MAX_ARGS) {
        return false;
    }
    ByteReader reader = payloadOf(msg);
    reader.skip(sizeof(UtilCliFunc));
    auto *payload = reinterpret_cast<char *>(msg + 1);
    for (uint32_t i = 0; i < msg->wordData; i++) {
        out->values[i] = payload + reader.position();
        reader.terminatedText();
    }
    out->count = static_cast<int>(msg->wordData);
    return reader.ok();
}

VosRet refuse(VosMsgHandle *msgHandle, const VosMsgHeader *msg) {
    VOS_DBG_ERROR("invalid remote command, dataLength(%u), argc(%u)", msg->dataLength, msg->wordData);
    vosMsg_sendReply(msgHandle, msg, VOS_RET_BAD_ARG);
    return VOS_RET_BAD_ARG;
}

vos::UniqueFile createResultFile() {
    remove(UTIL_CLI_RESULT_FILE);  // an empty directory in its place too
    vos::UniqueFd fd{open(UTIL_CLI_RESULT_FILE, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666)};
    vos::UniqueFile file{fd ? fdopen(fd.get(), "w+") : nullptr};
    if (file) {
        fd.release();
    }
    return file;
}

bool isMissing(const VosMsgHandle *msgHandle, const VosMsgHeader *msg) {
    if (msgHandle != nullptr && msg != nullptr) {
        return false;
    }
    VOS_DBG_ERROR("msgHandle = %p, msg = %p", static_cast<const void *>(msgHandle), static_cast<const void *>(msg));
    return true;
}

}  // namespace

VosRet UTIL_cliHandleCmd(VosMsgHandle *msgHandle, VosMsgHeader *msg) {
    VOS_DBG_DEBUG("Enter>");
    if (isMissing(msgHandle, msg)) {
        return VOS_RET_BAD_ARG;
    }
    const uintptr_t address = commandAddress(msg);
    if (!vos::isCode(address)) {
        return refuse(msgHandle, msg);
    }
    return UTIL_processRemoteCli(msgHandle, msg, reinterpret_cast<UtilCliFunc>(address));
}

VosRet UTIL_processRemoteCli(VosMsgHandle *msgHandle, VosMsgHeader *msg, UtilCliFunc cmdFunc) {
    if (isMissing(msgHandle, msg)) {
        return VOS_RET_BAD_ARG;
    }
    Arguments arguments;
    if (cmdFunc == nullptr || !readArguments(msg, &arguments)) {
        return refuse(msgHandle, msg);
    }
    auto file = createResultFile();
    if (!file) {
        VOS_DBG_ERROR("open file %s fail", UTIL_CLI_RESULT_FILE);
        return VOS_RET_OPEN_FAILED;
    }
    const uint32_t result = cmdFunc(arguments.count, arguments.values, file.get());
    file.reset();
    return vosMsg_sendReply(msgHandle, msg, result);
}
