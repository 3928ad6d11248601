/* A daemon that answers every request with the request's own payload.
 *
 * It can be launched under a name, under an id or, as a plug-in, under the name in ../Info.plugin, and can be made slow
 * (--delay) or talkative (--events) to see what its clients make of that. Stops cleanly on SIGTERM and SIGINT.
 */
#include <getopt.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>
#include <vos/vos.h>

#include "echo.h"
#include "stop_signals.h"

static void sendEvents(VosMsgHandle *handle, VosEntityId receiver, uint32_t count) {
    VosMsgHeader event = {.type = MSG_ECHO_PROGRESS, .flags = VOS_MSG_FLAG_EVENT};
    event.src = vosMsg_getHandleEid(handle);
    event.dst = receiver;
    for (event.wordData = 1; event.wordData <= count; event.wordData++) {
        vosMsg_send(handle, &event);
    }
}

/* A request becomes its own reply; its payload stays where it is. */
static VosRet answer(VosMsgHandle *handle, VosMsgHeader *msg) {
    msg->dst = msg->src;
    msg->src = vosMsg_getHandleEid(handle);
    msg->flags = VOS_MSG_FLAG_RESPONSE | (msg->flags & VOS_MSG_FLAG_KEEP);
    msg->next = NULL;
    msg->wordData = VOS_RET_OK;
    return vosMsg_send(handle, msg);
}

int main(int argc, char **argv) {
    static const struct option options[] = {{"name", required_argument, NULL, 'n'},
                                            {"id", required_argument, NULL, 'i'},
                                            {"delay", required_argument, NULL, 'd'},
                                            {"events", required_argument, NULL, 'e'},
                                            {0}};
    const char *name = NULL; /* none, and no id: the plug-in name */
    VosEntityId id = 0;
    uint32_t delayMs = 0, events = 0;
    for (int option; (option = getopt_long(argc, argv, "n:i:d:e:", options, NULL)) != -1;) {
        switch (option) {
            case 'n':
                name = optarg;
                break;
            case 'i':
                id = (VosEntityId)strtoul(optarg, NULL, 0);
                break;
            case 'd':
                delayMs = (uint32_t)strtoul(optarg, NULL, 10);
                break;
            case 'e':
                events = (uint32_t)strtoul(optarg, NULL, 10);
                break;
            default:
                fprintf(stderr, "usage: echo_daemon [--name NAME | --id ID] [--delay MS] [--events COUNT]\n");
                return 2;
        }
    }
    setvbuf(stdout, NULL, _IOLBF, 0);
    const sigset_t waitMask = catchStopSignals();

    VosMsgHandle *handle = NULL;
    VosRet ret = id != 0 ? vosMsg_init(id, &handle) : vosMsg_initByName(name, &handle);
    if (ret != VOS_RET_OK) {
        fprintf(stderr, "echo_daemon: launch failed (%u); is the hub running?\n", ret);
        return 1;
    }
    struct pollfd waiting = {.events = POLLIN};
    vosMsg_getEventHandle(handle, &waiting.fd);
    printf("launched as entity %u\n", vosMsg_getHandleEid(handle));

    while (ret == VOS_RET_OK && !stopped) {
        if (ppoll(&waiting, 1, NULL, &waitMask) <= 0) {
            continue;
        }
        VosMsgHeader *msg = NULL;
        ret = vosMsg_receive(handle, &msg);
        if (ret == VOS_RET_OK && (msg->flags & VOS_MSG_FLAG_REQUEST) != 0) {
            if (delayMs != 0) {
                printf("request from %u, answering in %u ms\n", msg->src, delayMs);
                nanosleep(&(struct timespec){delayMs / 1000, delayMs % 1000 * 1000000L}, NULL);
            }
            sendEvents(handle, msg->src, events);
            ret = answer(handle, msg);
        }
        VOS_FREE(msg);
    }
    printf("stopped\n");
    vosMsg_cleanup(&handle);
    return ret == VOS_RET_OK ? 0 : 1;
}
