/* A daemon and its client. The daemon answers one request; the client gets what came meanwhile afterwards, in order. */
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vos/mem.h>
#include <vos/msg.h>

enum { MSG_DOUBLE = 0x1000f100, MSG_PROGRESS = 0x1000f101, DAEMON = 300 };

static void serveOneRequest(int ready) {
    VosMsgHandle *handle = NULL;
    VosMsgHeader *msg = NULL;
    if (vosMsg_init(DAEMON, &handle) != VOS_RET_OK) {
        return;
    }
    (void)!write(ready, "", 1);
    if (vosMsg_receive(handle, &msg) == VOS_RET_OK) {
        VosMsgHeader event = {.type = MSG_PROGRESS, .flags = VOS_MSG_FLAG_EVENT};
        event.src = vosMsg_getHandleEid(handle);
        event.dst = msg->src;
        vosMsg_send(handle, &event);
        vosMsg_sendReply(handle, msg, msg->wordData * 2);
        VOS_FREE(msg); /* a received message belongs to the receiver */
    }
    vosMsg_cleanup(&handle);
}

int main(void) {
    int ready[2];
    if (pipe(ready) != 0) {
        return 1;
    }
    if (fork() == 0) {
        serveOneRequest(ready[1]);
        _exit(0);
    }
    close(ready[1]);
    (void)!read(ready[0], &(char){0}, 1);

    VosMsgHandle *handle = NULL;
    if (vosMsg_initByName("asker", &handle) != VOS_RET_OK) {
        fprintf(stderr, "is the hub running?\n");
        return 1;
    }
    VosMsgHeader request = {.type = MSG_DOUBLE, .dst = DAEMON, .flags = VOS_MSG_FLAG_REQUEST, .wordData = 21};
    request.src = vosMsg_getHandleEid(handle);
    printf("reply: %u\n", vosMsg_sendAndGetReplyWithTimeout(handle, &request, 5000));

    VosMsgHeader *msg = NULL; /* the event that came before the reply waits on the handle */
    if (vosMsg_receiveWithTimeout(handle, &msg, 5000) == VOS_RET_OK) {
        printf("then: event 0x%x\n", msg->type);
        VOS_FREE(msg);
    }
    vosMsg_cleanup(&handle);
    wait(NULL);
    return 0;
}

/* Prints:
reply: 42
then: event 0x1000f101
*/
