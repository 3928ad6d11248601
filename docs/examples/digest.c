/* A digest of data that arrives in pieces. */
#include <stdio.h>
#include <vos/digest.h>

int main(void) {
    Sha256Context context;
    uint8_t hash[SHA256_HASH_SIZE];
    sha256_init(&context);
    sha256_update(&context, (const uint8_t *)"a", 1);
    sha256_update(&context, (const uint8_t *)"bc", 2);
    sha256_final(&context, hash); /* clears the context */
    for (int i = 0; i < 4; i++) {
        printf("%02x", hash[i]);
    }
    printf("…\n");
    return 0;
}

/* Prints:
ba7816bf…
*/
