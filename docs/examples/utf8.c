/* Characters of a UTF-8 text one by one, and back. */
#include <stdio.h>
#include <vos/utf8.h>

int main(void) {
    const uint8_t text[] = "5 \xe2\x82\xac"; /* "5 €" */
    uint32_t unit;
    for (int32_t at = 0, used; text[at] != '\0'; at += used) {
        used = utf8_mbtowc(&unit, text + at, (int32_t)sizeof text - at);
        if (used < 1) {
            return 1; /* broken, cut or overlong */
        }
        printf("U+%04X in %d byte%s\n", unit, used, used == 1 ? "" : "s");
    }
    uint8_t out[6];
    printf("back: %d bytes\n", utf8_wctomb(out, unit, sizeof out));
    return 0;
}

/* Prints:
U+0035 in 1 byte
U+0020 in 1 byte
U+20AC in 3 bytes
back: 3 bytes
*/
