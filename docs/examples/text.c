/* Bounded copies, numbers, MAC addresses and URLs. */
#include <stdio.h>
#include <vos/mem.h>
#include <vos/text.h>

int main(void) {
    char shortText[6];
    util_strncpy(__func__, __LINE__, shortText, "gateway", sizeof shortText);
    util_strToUpper(shortText);
    printf("%s\n", shortText);

    int32_t number = 0;
    const VosRet bad = util_strtol("12x", NULL, 10, &number); /* the whole text must be a number */
    const VosRet good = util_strtol("-12", NULL, 10, &number);
    printf("%u %u %d\n", bad, good, number);

    uint8_t mac[6];
    char macText[18];
    if (util_macStrToNum("02:00:00:00:00:ff", mac) == VOS_RET_OK && util_increaseMacValue(mac, 1) == VOS_RET_OK &&
        util_macNumToStr(mac, macText, sizeof macText) == VOS_RET_OK) {
        printf("%s\n", macText);
    }

    uint32_t scheme;
    uint16_t port;
    char *host, *path;
    if (util_parseUrl("http://[2001:db8::1]:8080/status", &scheme, &host, &port, &path) == VOS_RET_OK) {
        printf("%s %u %s\n", host, port, path);
        VOS_FREE(host); /* new allocations are ours */
        VOS_FREE(path);
    }
    return 0;
}

/* Prints:
GATEW
9003 0 -12
02:00:00:00:01:00
2001:db8::1 8080 /status
*/
