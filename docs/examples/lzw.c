/* A stream into one buffer, and out of it in pieces. */
#include <stdio.h>
#include <string.h>
#include <vos/lzw.h>

int main(void) {
    static const char text[] = "to be or not to be, to be or not to be, to be or not to be";
    uint8_t stream[256], piece[16];
    void *encoder = NULL, *decoder = NULL;
    if (utilLzw_initEncoder(&encoder, stream, sizeof stream) != VOS_RET_OK) {
        return 1;
    }
    const int32_t encoded = utilLzw_encode(encoder, (const uint8_t *)text, (uint32_t)strlen(text));
    const int32_t flushed = utilLzw_flushEncoder(encoder); /* -1: it did not fit */
    utilLzw_cleanupEncoder(&encoder);
    if (encoded < 0 || flushed < 0 ||
        utilLzw_initDecoder(&decoder, stream, (uint32_t)(encoded + flushed)) != VOS_RET_OK) {
        return 1;
    }
    for (int32_t got; (got = utilLzw_decode(decoder, piece, sizeof piece)) > 0;) {
        printf("%.*s", (int)got, (const char *)piece);
    }
    printf("\n%s\n", encoded + flushed < (int32_t)strlen(text) ? "smaller" : "larger");
    utilLzw_cleanupDecoder(&decoder);
    return 0;
}

/* Prints:
to be or not to be, to be or not to be, to be or not to be
smaller
*/
