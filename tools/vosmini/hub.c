/* Commands that talk to the hub and, through it, to daemons: only the library's own messages, so any hub will do. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <vos/img.h>
#include <vos/mem.h>
#include <vos/request.h>
#include <vos/text.h>
#include <vos/tms.h>

#include "vosmini.h"

enum { TIMEOUT_MS = 5000, BYTES_A_LINE = 16, MOST_PAYLOAD = 4096 };

static VosMsgHandle *connectToHub(void) {
    VosMsgHandle *handle = NULL;
    if (vosMsg_initByName("vosmini", &handle) != VOS_RET_OK) {
        fail(EXIT_FAILED, "no hub answers at %s", VOS_MSG_HUB_SOCKET_PATH);
    }
    return handle;
}

static VosMsgHeader *newMessage(VosMsgHandle *handle, VosEntityId dst, uint32_t type, uint16_t flags,
                                uint32_t payloadSize) {
    VosMsgHeader *msg = VOS_MALLOC_FLAGS((uint32_t)sizeof *msg + payloadSize, ALLOC_ZEROIZE);
    if (msg == NULL) {
        fail(EXIT_FAILED, "no memory");
    }
    msg->type = type;
    msg->src = vosMsg_getHandleEid(handle);
    msg->dst = dst;
    msg->flags = flags;
    msg->dataLength = payloadSize;
    return msg;
}

/* Sends a request and gives its reply, which the caller frees; frees the request. */
static VosMsgHeader *ask(VosMsgHandle *handle, VosMsgHeader *request, const char *who) {
    VosMsgHeader *reply = NULL;
    const VosRet ret = vosMsg_sendAndGetReplyBufWithTimeout(handle, request, &reply, TIMEOUT_MS);
    VOS_FREE(request);
    if (ret != VOS_RET_OK || reply == NULL) {
        fail(EXIT_FAILED, "no reply from %s (%u)", who, ret);
    }
    return reply;
}

/* The id of a name or number. */
static VosEntityId find(VosMsgHandle *handle, const char *entity) {
    uint32_t number = 0;
    if (util_strtoul(entity, NULL, 0, &number) == VOS_RET_OK) {
        return number;
    }
    const uint32_t size = (uint32_t)strlen(entity) + 1;
    VosMsgHeader *request = newMessage(handle, EID_HUBD, VOS_MSG_GET_EID_BY_APP_NAME, VOS_MSG_FLAG_REQUEST, size);
    memcpy(request + 1, entity, size);
    VosMsgHeader *reply = ask(handle, request, "the hub");
    const VosEntityId eid = reply->wordData;
    VOS_FREE(reply);
    if (eid == 0) {
        fail(EXIT_FAILED, "no entity is called '%s'", entity);
    }
    return eid;
}

/* ENTITY TYPE [WORD [HEX]] */
static VosMsgHeader *messageOf(VosMsgHandle *handle, int argc, char **argv, uint16_t flags) {
    static uint8_t payload[MOST_PAYLOAD];
    const char *hex = argc > 3 ? argv[3] : "";
    const size_t digits = strlen(hex);
    if (digits % 2 != 0 || digits / 2 > sizeof payload || strspn(hex, "0123456789abcdefABCDEF") != digits) {
        fail(EXIT_USAGE, "payload: give up to %d bytes, two hexadecimal digits each", MOST_PAYLOAD);
    }
    for (size_t i = 0; i < digits / 2; i++) {
        const char pair[3] = {hex[2 * i], hex[2 * i + 1], '\0'};
        payload[i] = (uint8_t)strtoul(pair, NULL, 16);
    }
    const uint32_t type = numberOf(argv[1], "type");
    const uint32_t word = argc > 2 ? numberOf(argv[2], "word") : 0;
    VosMsgHeader *msg = newMessage(handle, find(handle, argv[0]), type, flags, (uint32_t)(digits / 2));
    msg->wordData = word;
    memcpy(msg + 1, payload, digits / 2);
    return msg;
}

static void dump(const VosMsgHeader *msg) {
    const uint8_t *bytes = (const uint8_t *)(msg + 1);
    for (uint32_t at = 0; at < msg->dataLength; at++) {
        printf("%02x%c", bytes[at], at % BYTES_A_LINE == BYTES_A_LINE - 1 || at + 1 == msg->dataLength ? '\n' : ' ');
    }
}

int idCommand(int argc, char **argv) {
    (void)argc;
    VosMsgHandle *handle = connectToHub();
    printf("%u\n", find(handle, argv[0]));
    vosMsg_cleanup(&handle);
    return EXIT_SUCCESS;
}

int runningCommand(int argc, char **argv) {
    (void)argc;
    VosMsgHandle *handle = connectToHub();
    VosMsgHeader *request = newMessage(handle, EID_HUBD, VOS_MSG_IS_APP_RUNNING, VOS_MSG_FLAG_REQUEST, 0);
    request->wordData = find(handle, argv[0]);
    VosMsgHeader *reply = ask(handle, request, "the hub");
    const bool runs = reply->wordData == VOS_RET_OK;
    printf("%s\n", runs ? "running" : "not running");
    VOS_FREE(reply);
    vosMsg_cleanup(&handle);
    return runs ? EXIT_SUCCESS : EXIT_FAILED;
}

int pingCommand(int argc, char **argv) {
    const uint32_t count = argc > 0 ? numberOf(argv[0], "count") : 10;
    if (count == 0) {
        fail(EXIT_USAGE, "count: give at least 1");
    }
    VosMsgHandle *handle = connectToHub();
    int64_t fastest = INT64_MAX, slowest = 0, sum = 0;
    for (uint32_t i = 0; i < count; i++) {
        UtilTimestamp start, end;
        VosMsgHeader *request = newMessage(handle, EID_HUBD, VOS_MSG_IS_APP_RUNNING, VOS_MSG_FLAG_REQUEST, 0);
        request->wordData = request->src;
        utilTms_get(&start);
        VosMsgHeader *reply = ask(handle, request, "the hub");
        utilTms_get(&end);
        VOS_FREE(reply);
        const int64_t micros = ((int64_t)end.sec - start.sec) * 1000000 + ((int64_t)end.nsec - start.nsec) / 1000;
        fastest = micros < fastest ? micros : fastest;
        slowest = micros > slowest ? micros : slowest;
        sum += micros;
    }
    printf("%u round trips to the hub: min %lld avg %lld max %lld us\n", count, (long long)fastest,
           (long long)(sum / count), (long long)slowest);
    vosMsg_cleanup(&handle);
    return EXIT_SUCCESS;
}

int requestCommand(int argc, char **argv) {
    VosMsgHandle *handle = connectToHub();
    VosMsgHeader *request = messageOf(handle, argc, argv, VOS_MSG_FLAG_REQUEST);
    VosMsgHeader *reply = ask(handle, request, argv[0]);
    printf("%u, %u bytes\n", reply->wordData, reply->dataLength);
    dump(reply);
    VOS_FREE(reply);
    vosMsg_cleanup(&handle);
    return EXIT_SUCCESS;
}

int eventCommand(int argc, char **argv) {
    VosMsgHandle *handle = connectToHub();
    VosMsgHeader *event = messageOf(handle, argc, argv, VOS_MSG_FLAG_EVENT);
    const VosRet ret = vosMsg_send(handle, event);
    VOS_FREE(event);
    if (ret != VOS_RET_OK) {
        fail(EXIT_FAILED, "the event cannot be sent (%u)", ret);
    }
    vosMsg_cleanup(&handle);
    return EXIT_SUCCESS;
}

int heartbeatCommand(int argc, char **argv) {
    (void)argc;
    (void)argv;
    VosMsgHandle *handle = connectToHub();
    const VosRet ret = UTIL_sendHeartbeat(handle);
    if (ret != VOS_RET_OK) {
        fail(EXIT_FAILED, "the heartbeat cannot be sent (%u)", ret);
    }
    vosMsg_cleanup(&handle);
    return EXIT_SUCCESS;
}
