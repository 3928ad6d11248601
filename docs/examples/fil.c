/* Whole files, and a directory tree that goes away. */
#include <stdio.h>
#include <string.h>
#include <vos/fil.h>

int main(void) {
    static const char text[] = "level=50\n";
    uint8_t buffer[64];
    uint32_t size = sizeof buffer;
    utilFil_makeDir("/tmp/example-state");
    utilFil_writeBufferToFile("/tmp/example-state/config", (const uint8_t *)text, (uint32_t)strlen(text));
    utilFil_writeToFileEnd("/tmp/example-state/config", "more\n"); /* the file must exist */
    if (utilFil_copyToBuffer("/tmp/example-state/config", buffer, &size) != VOS_RET_OK) {
        return 1;
    }
    printf("%u bytes: %.*s", size, (int)size, (const char *)buffer); /* no terminator is added */
    utilFil_removeDir("/tmp/example-state");                         /* links inside are removed, never followed */
    printf("%s\n", utilFil_isFilePresent("/tmp/example-state") ? "still there" : "gone");
    return 0;
}

/* Prints:
14 bytes: level=50
more
gone
*/
