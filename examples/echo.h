/* What the example daemon and its clients have agreed on. */
#ifndef ECHO_H
#define ECHO_H

/* Request: answered with the same payload. vosctl ping sends it too. */
#define MSG_ECHO 0x1000f010u
/* Event from the daemon to a requester; wordData counts from 1. */
#define MSG_ECHO_PROGRESS 0x1000f011u

#endif
