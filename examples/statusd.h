/* What the status daemon and those who ask it have agreed on. */
#ifndef STATUSD_H
#define STATUSD_H

/* Request with VOS_MSG_FLAG_SRPC: wordData is one of the procedures, the payload 8 bytes of which nothing is read. The
 * reply carries a text; none when there is no such procedure. */
#define MSG_STATUS 0x1000f020u
#define STATUS_BASE 100u
#define STATUS_UPTIME (STATUS_BASE + 1)
#define STATUS_LOAD (STATUS_BASE + 2)

/* Event to the hub, for those who registered for it: wordData is the CPU load in percent. */
#define MSG_STATUS_REPORT 0x1000f021u

/* Request with a command line as vos/cli.h lays it out. The daemon looks the command up by its first argument, so the 8
 * bytes in front of the arguments may hold anything. vosctl cli sends it to any daemon. */
#define MSG_REMOTE_CLI 0x1000f030u

#endif
