/* Base64, hexadecimal, XML entities and a CRC-32. */
#include <stdio.h>
#include <string.h>
#include <vos/codec.h>
#include <vos/mem.h>

int main(void) {
    static const uint8_t bytes[] = {'v', 'o', 's', 0xff};
    char *text = UTIL_base64Encode(bytes, sizeof bytes);
    uint8_t *again = NULL;
    uint32_t length = 0;
    if (text == NULL || utilB64_decode("dm9z\n/w", &again, &length) != VOS_RET_OK) { /* breaks and padding forgiven */
        return 1;
    }
    printf("%s, %s\n", text, length == 4 && memcmp(again, bytes, 4) == 0 ? "and back" : "broken");
    VOS_FREE(text);
    VOS_FREE(again);

    char *escaped = NULL;
    if (utilXml_escapeString("a < b & c", &escaped) == VOS_RET_OK) {
        printf("%s\n", escaped);
        VOS_FREE(escaped);
    }
    printf("%08x\n", ~utilCrc_getCrc32((const uint8_t *)"123456789", 9, 0xffffffff)); /* the usual CRC-32 */
    return 0;
}

/* Prints:
dm9z/w==, and back
a &lt; b &amp; c
cbf43926
*/
