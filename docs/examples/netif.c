/* Interfaces, and comparisons of IPv6 addresses. Mind the three conventions of success. */
#include <stdio.h>
#include <vos/netif.h>

int main(void) {
    char address[16] = "";
    uint8_t up = 0;
    UTIL_setIfState("lo", 1); /* VOS_RET_OK; needs CAP_NET_ADMIN */
    if (UTIL_checkInterfaceUp("lo", &up) == VOS_RET_OK && up) {
        printf("lo is up\n");
    }
    if (UTIL_getIfAddr("lo", address, sizeof address)) { /* 1 is success here */
        printf("%s\n", address);
    }
    printf("no such interface: %d\n", UTIL_isInterfaceExisted("nosuch0"));
    printf("equal: %u\n", UTIL_areIpv6AddrEqual("2001:db8::1", "2001:db8:0:0::1"));
    printf("same subnet: %u\n", UTIL_isHostInSameSubnet("2001:db8:1:2::9", "2001:db8:1:2::/64"));
    return 0;
}

/* Prints:
lo is up
127.0.0.1
no such interface: 0
equal: 1
same subnet: 1
*/
