/* Spans of the monotonic clock, and times as text. */
#include <stdio.h>
#include <stdlib.h>
#include <vos/tms.h>

int main(void) {
    const UtilTimestamp start = {.sec = 10, .nsec = 900000000};
    UtilTimestamp end = start;
    utilTms_addMilliSeconds(&end, 1250);
    printf("%u ms\n", utilTms_deltaInMilliSeconds(&end, &start));

    char text[32];
    setenv("TZ", "UTC-1", 1);
    if (utilTms_getXSIDateTime(1772362800, text, sizeof text) == VOS_RET_OK) {
        printf("%s\n", text);
    }
    if (utilTms_getDaysHoursMinutesSeconds(93784, text, sizeof text) == VOS_RET_OK) {
        printf("%s\n", text);
    }
    return 0;
}

/* Prints:
1250 ms
2026-03-01T12:00:00+01:00
1D 2H 3M 4S
*/
