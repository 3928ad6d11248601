/* SIGTERM and SIGINT end an example daemon's main loop between two messages. */
#ifndef STOP_SIGNALS_H
#define STOP_SIGNALS_H

#include <signal.h>
#include <stddef.h>

static volatile sig_atomic_t stopped;

static void stop(int signalNumber) {
    (void)signalNumber;
    stopped = 1;
}

/* Gives the mask to wait with: signals are delivered only inside ppoll, so none is missed between a look at `stopped`
 * and the wait. */
static sigset_t catchStopSignals(void) {
    const struct sigaction action = {.sa_handler = stop};
    sigset_t blocked, before;
    sigaction(SIGTERM, &action, NULL);
    sigaction(SIGINT, &action, NULL);
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigaddset(&blocked, SIGINT);
    sigprocmask(SIG_BLOCK, &blocked, &before);
    return before;
}

#endif
