/* Slots that grow as needed; an empty slot holds NULL and is filled first. */
#include <stdio.h>
#include <vos/vector.h>

int main(void) {
    static char *names[] = {"a", "b", "c"};
    UtilVector *vector = UTIL_VectorInit(1);
    if (vector == NULL) {
        return 1;
    }
    for (size_t i = 0; i < 3; i++) {
        UTIL_VectorSet(vector, names[i]);
    }
    UTIL_VectorUnset(vector, 1);
    UTIL_VectorSet(vector, "d"); /* into the first empty slot */
    for (uint32_t i = 0; i < vector->count; i++) {
        printf("%u %s\n", i, (const char *)UTIL_VectorLookupIndex(vector, i));
    }
    UTIL_VectorFree(vector);
    return 0;
}

/* Prints:
0 a
1 d
2 c
*/
