/* Slow work in a thread; its completion runs in the main loop, when the task's message arrives. */
#include <stdio.h>
#include <unistd.h>
#include <vos/mem.h>
#include <vos/task.h>

static void work(void *arg) {
    *(int *)arg = 42; /* in the task's own thread */
}

static void done(void *arg) {
    printf("the work gave %d\n", *(int *)arg); /* in the main loop again */
}

int main(void) {
    int result = 0;
    VosMsgHandle *handle = NULL;
    VosMsgHeader *msg = NULL;
    if (vosMsg_initByName("worker", &handle) != VOS_RET_OK ||
        UTIL_taskStart(work, &result, done, handle) != VOS_RET_OK) {
        return 1;
    }
    if (vosMsg_receiveWithTimeout(handle, &msg, 5000) == VOS_RET_OK && msg->type == VOS_MSG_SYSTEM_TASK_FINISH) {
        UTIL_taskFinish(msg);
    }
    VOS_FREE(msg);
    vosMsg_cleanup(&handle); /* not before the completion has arrived */
    return 0;
}

/* Prints:
the work gave 42
*/
