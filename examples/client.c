/* Sends one request to the echo daemon, prints the answer and then what else has arrived, in order.
 *
 *     client [--timeout MS] [--listen MS] PEER TEXT
 *
 * PEER is an entity id, or a name that the hub is asked for. After the request the client listens for --listen
 * milliseconds; a reply that came too late turns up there as well.
 */
#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <vos/vos.h>

#include "echo.h"

/* Header and payload in one block, which the caller frees. */
static VosMsgHeader *newRequest(const VosMsgHandle *handle, VosEntityId peer, uint32_t type, const char *text) {
    const uint32_t length = (uint32_t)strlen(text) + 1;
    VosMsgHeader *msg = VOS_MALLOC_FLAGS((uint32_t)sizeof *msg + length, ALLOC_ZEROIZE);
    if (msg != NULL) {
        msg->type = type;
        msg->src = vosMsg_getHandleEid(handle);
        msg->dst = peer;
        msg->flags = VOS_MSG_FLAG_REQUEST;
        msg->dataLength = length;
        memcpy(msg + 1, text, length);
    }
    return msg;
}

/* 0 when the hub knows no such name. */
static VosEntityId findPeer(VosMsgHandle *handle, const char *peer) {
    char *end = NULL;
    const unsigned long id = strtoul(peer, &end, 0);
    if (*end == '\0') {
        return (VosEntityId)id;
    }
    VosMsgHeader *request = newRequest(handle, EID_HUBD, VOS_MSG_GET_EID_BY_APP_NAME, peer);
    const VosEntityId found = request != NULL ? vosMsg_sendAndGetReply(handle, request) : 0;
    VOS_FREE(request);
    return found;
}

static const char *text(const VosMsgHeader *msg) {
    const char *payload = (const char *)(msg + 1);
    return msg->dataLength > 0 && payload[msg->dataLength - 1] == '\0' ? payload : "";
}

static void print(const VosMsgHeader *msg, uint32_t leftMs) {
    if (msg->type == MSG_ECHO_PROGRESS) {
        printf("event %u from %u\n", msg->wordData, msg->src);
    } else if (msg->type == MSG_ECHO) {
        printf("late reply from %u: '%s', %u ms of listening left\n", msg->src, text(msg), leftMs);
    } /* else: the wake-up marker, which only says that something is queued */
}

/* Everything that was put back during the request, then what arrives within listenMs altogether. */
static VosRet listen(VosMsgHandle *handle, uint32_t listenMs) {
    int32_t fd = -1;
    vosMsg_getEventHandle(handle, &fd);
    for (;;) {
        VosMsgHeader *msg = NULL;
        vosMsg_receivePutBack(handle, &msg);
        const VosRet ret = msg != NULL ? VOS_RET_OK : oalVosMsg_receive(fd, &msg, &listenMs);
        if (ret != VOS_RET_OK) {
            return ret == VOS_RET_TIMEOUT ? VOS_RET_OK : ret;
        }
        print(msg, listenMs);
        VOS_FREE(msg);
    }
}

static VosRet ask(VosMsgHandle *handle, VosEntityId peer, const char *question, uint32_t timeoutMs) {
    VosMsgHeader *reply = NULL;
    VosMsgHeader *request = newRequest(handle, peer, MSG_ECHO, question);
    const VosRet ret = vosMsg_sendAndGetReplyBufWithTimeout(handle, request, &reply, timeoutMs);
    if (ret == VOS_RET_TIMEOUT) {
        printf("no reply from %u within %u ms (%u)\n", peer, timeoutMs, ret);
    } else if (ret != VOS_RET_OK) {
        printf("request to %u failed (%u)\n", peer, ret);
    } else if (reply == NULL) { /* asking again counts as success, answered or not */
        printf("%u came back and did not answer the repeated request\n", peer);
    } else {
        printf("reply from %u: %u '%s'\n", reply->src, reply->wordData, text(reply));
    }
    VOS_FREE(reply);
    VOS_FREE(request);
    return ret;
}

int main(int argc, char **argv) {
    static const struct option options[] = {
        {"timeout", required_argument, NULL, 't'}, {"listen", required_argument, NULL, 'l'}, {0}};
    uint32_t timeoutMs = 5000, listenMs = 0;
    int option;
    while ((option = getopt_long(argc, argv, "t:l:", options, NULL)) == 't' || option == 'l') {
        *(option == 't' ? &timeoutMs : &listenMs) = (uint32_t)strtoul(optarg, NULL, 10);
    }
    if (option != -1 || argc - optind != 2) {
        fprintf(stderr, "usage: client [--timeout MS] [--listen MS] PEER TEXT\n");
        return 2;
    }
    VosMsgHandle *handle = NULL;
    if (vosMsg_initByName("client", &handle) != VOS_RET_OK) {
        fprintf(stderr, "client: no hub at " VOS_MSG_HUB_SOCKET_PATH "\n");
        return 1;
    }
    VosRet ret = ask(handle, findPeer(handle, argv[optind]), argv[optind + 1], timeoutMs);
    const VosRet listened = listen(handle, listenMs);
    ret = ret != VOS_RET_OK ? ret : listened;
    vosMsg_cleanup(&handle);
    return ret == VOS_RET_OK ? 0 : 1;
}
