/* Start a program with a limit, wait for it, see how it ended; then one that takes too long. */
#include <stdio.h>
#include <vos/prctl.h>

int main(void) {
    PrctlSpawnRequest request = {.exe = "/bin/sh", .args = "-c true", .spawnMode = PRCTL_SPAWN_AND_WAIT};
    PrctlProcessResult result;
    request.timeoutMs = 5000;
    request.stdinFd = -1; /* /dev/null */
    request.stdoutFd = 1; /* inherited */
    request.stderrFd = 2;
    request.serverFd = -1;
    request.maxFd = 50; /* nothing of ours reaches the child */
    request.nofileLimit = 64;
    if (prctl_spawnProcess(&request, &result) != VOS_RET_OK || result.status != PRCTL_STATUS_EXITED) {
        return 1;
    }
    printf("ended with %d, signal %d\n", result.exitCode, result.signalNumber);

    request.exe = "/bin/sleep";
    request.args = "60";
    request.timeoutMs = 100;
    if (prctl_spawnProcess(&request, &result) != VOS_RET_OK) {
        return 1;
    }
    printf("killed by signal %d\n", result.signalNumber);
    printf("the shell says %d\n", prctl_runCommandInShellBlocking("exit 3"));
    return 0;
}

/* Prints:
ended with 0, signal 0
killed by signal 9
the shell says 3
*/
