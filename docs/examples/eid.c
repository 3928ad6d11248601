/* Names, entity ids and access bits of the firmware's daemons. */
#include <stdio.h>
#include <vos/eid.h>
#include <vos/mem.h>

static int count(const EntityInfo *row, void *context) {
    (void)row;
    (*(int *)context)++;
    return 0; /* anything else would end the walk */
}

int main(void) {
    char name[64];
    int rows = 0;
    vosEid_forEachEntityInfo(count, &rows);
    printf("the table is %s\n", rows > 0 ? "there" : "empty");
    if (vosEid_getAppName(name, sizeof name, EID_HUBD) == VOS_RET_OK) {
        printf("entity %u is %s, and back: %u\n", EID_HUBD, name, vosEid_getAppEid(name));
    }
    printf("nobody has this name: %u\n", vosEid_getAppEid("no such daemon"));
    return 0;
}

/* Prints:
the table is there
entity 20 is hubd, and back: 20
nobody has this name: 0
*/
