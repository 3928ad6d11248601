/* AES-128-CBC there and back. The key pair functions take a PKCS#12 file. */
#include <stdio.h>
#include <string.h>
#include <vos/security.h>

int main(void) {
    static const uint8_t key[UTIL_AES128_SIZE] = "0123456789abcde", iv[UTIL_AES128_SIZE] = {7};
    static const uint8_t plain[] = "a setting";
    uint8_t secret[sizeof plain + 16], again[sizeof secret + 16]; /* room for inLen + 16 */
    uint32_t secretLength = 0, length = 0;
    if (UTIL_aes128CbcBufferEncrypt(key, iv, plain, sizeof plain, secret, &secretLength, 1) != VOS_RET_OK ||
        UTIL_aes128CbcBufferEncrypt(key, iv, secret, secretLength, again, &length, 0) != VOS_RET_OK) {
        return 1;
    }
    printf("%u bytes, %s\n", secretLength, memcmp(again, plain, length) == 0 ? "and back" : "broken");
    printf("no key file: %s\n", readKeyPairFromPfx("/nonexistent", "") == NULL ? "NULL" : "a key");
    return 0;
}

/* Prints:
16 bytes, and back
no key file: NULL
*/
