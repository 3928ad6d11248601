/* Blocks of the memory manager: guarded, counted, and told from foreign memory. */
#include <stdio.h>
#include <string.h>
#include <vos/mem.h>

int main(void) {
    VosMemStats before, after;
    vosMem_getStats(&before);

    char *text = VOS_MALLOC_FLAGS(16, ALLOC_ZEROIZE);
    if (text == NULL) {
        return 1;
    }
    strcpy(text, "gateway");
    char *larger = vosMem_realloc(text, 64, __func__, __LINE__); /* on failure `text` would still be ours */
    if (larger == NULL) {
        VOS_FREE(text);
        return 1;
    }
    char *copy = vosMem_strdup(larger, __func__, __LINE__);
    printf("%s, %s, %s\n", larger, copy, vosMem_isAllocedMem(larger) ? "ours" : "foreign");

    VOS_FREE(larger);
    VOS_FREE(copy);
    vosMem_getStats(&after);
    printf("leaked %u bytes\n", after.heapBytesInUse - before.heapBytesInUse);
    return 0;
}

/* Prints:
gateway, gateway, ours
leaked 0 bytes
*/
