/* A text from an old configuration: GB18030 to UTF-8 and back. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <vos/gb18030.h>

int main(void) {
    static const char old[] = "\xcd\xf8\xb9\xd8 1"; /* "gateway 1" in Chinese */
    char *utf8 = EncodeToUTF8(old);
    char *again = utf8 != NULL ? DecodeFromUTF8(utf8) : NULL;
    if (utf8 != NULL && again != NULL) {
        printf("%s, %s\n", utf8, strcmp(again, old) == 0 ? "and back" : "changed");
    }
    free(utf8); /* these come from the plain heap: never VOS_FREE */
    free(again);
    return 0;
}

/* Prints:
网关 1, and back
*/
