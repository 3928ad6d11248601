/* Names to values. The map owns copies of its keys, never its values. */
#include <stdio.h>
#include <vos/hashmap.h>

int main(void) {
    static int lan = 1, wan = 2, newer = 3;
    HashMap *map = NULL;
    if (hashmap_create(&map, 64) != VOS_RET_OK) { /* a power of two makes look-ups cheaper */
        return 1;
    }
    hashmap_insert(map, "lan", -1, &lan); /* -1: up to the terminator */
    hashmap_insert(map, "wan", -1, &wan);
    hashmap_insert(map, "lan", -1, &newer); /* hides the older value until it is deleted */
    printf("%d\n", *(int *)hashmap_search(map, "lan"));
    hashmap_delete(map, "lan", NULL);
    printf("%d\n", *(int *)hashmap_search(map, "lan"));
    printf("%s\n", hashmap_search(map, "usb") == NULL ? "no usb" : "usb");
    hashmap_destroy(map, NULL);
    return 0;
}

/* Prints:
3
1
no usb
*/
