/* Decodes a reply as UTIL_dnsDoQuery() does with what a server sends: one question, one address. */
#include <stdio.h>
#include <string.h>
#include <vos/dns.h>

static const uint8_t reply[] = {
    0x12, 0x34, 0x81, 0x80, 0,   1, 0,   1,   0,   0,  0, 0,         /* id, flags, counts */
    4,    'h',  'o',  's',  't', 3, 'l', 'a', 'n', 0,  0, 1, 0,   1, /* host.lan, A, IN */
    0xc0, 12,   0,    1,    0,   1, 0,   0,   0,   60, 0, 4, 192, 168,
    1,    20, /* the name again, A, IN, 60 s, the address */
};

int main(void) {
    uint8_t message[VOS_DNS_MESSAGE_SIZE] = {0}; /* always a whole message buffer */
    char addresses[64] = "";
    memcpy(message, reply, sizeof reply);
    util_dnsDecodeResponse(message, addresses, sizeof addresses);
    addresses[strcspn(addresses, "\t")] = '\0'; /* every address has a tab behind it */
    printf("%s\n", addresses);
    return 0;
}

/* Prints:
192.168.1.20
*/
