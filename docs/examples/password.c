/* Hashes for a password file. Results lie in static buffers: copy what you keep. */
#include <stdio.h>
#include <string.h>
#include <vos/password.h>

int main(void) {
    char kept[24];
    snprintf(kept, sizeof kept, "%s", util_pwEncrypt("secret", "ab"));
    printf("%zu characters, %s\n", strlen(kept), strcmp(kept, util_pwEncrypt("secret", kept)) == 0 ? "right" : "wrong");
    printf("%s\n", strcmp(kept, util_pwEncrypt("guess", kept)) == 0 ? "right" : "wrong");

    uint8_t hidden[7] = {0}, shown[7] = {0}; /* results are OR-ed in: begin with zero */
    UTIL_bufferMessUp((const uint8_t *)"secret", 7, hidden, sizeof hidden);
    UTIL_bufferMessUp(hidden, sizeof hidden, shown, sizeof shown);
    printf("%s\n", (const char *)shown);
    return 0;
}

/* Prints:
13 characters, right
wrong
secret
*/
