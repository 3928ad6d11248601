/* A list of the caller's objects. The library allocates entries only; the objects stay ours. */
#include <stdio.h>
#include <vos/list.h>
#include <vos/mem.h>

int main(void) {
    static char *ports[] = {"lan1", "lan2", "lan3"};
    List list = {NULL, NULL};
    for (size_t i = 0; i < sizeof ports / sizeof *ports; i++) {
        ListEntry *entry = list_create_entry(ports[i]);
        if (entry == NULL || list_append(entry, &list) != VOS_RET_OK) {
            return 1;
        }
    }
    printf("lan2 %s\n", list_compareWithString("lan2", &list) == VOS_RET_OK ? "is there" : "is missing");

    for (ListEntry *first = list.head; first != NULL; first = list.head) {
        printf("%s\n", (const char *)first->data);
        VOS_FREE(list_delete(first, &list)); /* unlinked entries are the caller's */
    }
    return 0;
}

/* Prints:
lan2 is there
lan1
lan2
lan3
*/
