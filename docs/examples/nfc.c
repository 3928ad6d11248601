/* The contents of a tag that opens the set-up page. */
#include <stdio.h>
#include <vos/mem.h>
#include <vos/nfc.h>

int main(void) {
    uint8_t *tag = NULL;
    uint32_t length = 0;
    UTIL_nfcGenUrlNdefData("http://192.168.1.1/", &tag, &length);
    if (tag == NULL) {
        return 1;
    }
    printf("%u bytes, the first is 0x%02x\n", length, tag[0]);

    uint8_t payload[255];
    uint32_t payloadLength, typeLength;
    char type[256];
    UTIL_nfcGetNdefPayload(tag, payload, &payloadLength, &typeLength, type);
    printf("type %s: %.*s\n", type, (int)payloadLength - 1, (const char *)payload + 1);
    VOS_FREE(tag);
    return 0;
}

/* Prints:
52 bytes, the first is 0xd2
type U: http://192.168.1.1/
*/
