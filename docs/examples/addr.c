/* Addresses as text: check them, take them apart, bring them into one form. */
#include <stdio.h>
#include <sys/socket.h>
#include <vos/addr.h>

int main(void) {
    char text[VOS_ADDR_TEXT_SIZE];
    uint32_t length = 0;
    printf("%d %d\n", util_isValidIpAddress(AF_INET, "192.168.1.1"), util_isValidIpAddress(AF_INET6, "192.168.1.1"));
    if (util_parsePrefixAddress("2001:db8::1/64", text, sizeof text, &length) == VOS_RET_OK) {
        printf("%s, %u bits\n", text, length);
    }
    if (util_standardizeIp6Addr("2001:0DB8:0:0:0::1/64", text, sizeof text) == VOS_RET_OK) {
        printf("%s\n", text);
    }
    if (util_getAddrPrefix("2001:db8:abcd:1234::1", 64, text) == VOS_RET_OK) {
        printf("%s\n", text);
    }
    return 0;
}

/* Prints:
1 0
2001:db8::1, 64 bits
2001:db8::1/64
2001:db8:abcd:1234::
*/
