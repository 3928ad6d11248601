/* A user's program in C11, built through pkg-config against an installed tree. */
#include <stdio.h>
#include <string.h>
#include <vos/vos.h>

int main(void) {
    char *copy = vosMem_strdup("installed", __func__, __LINE__);
    const int ok = copy != NULL && strcmp(copy, "installed") == 0;
    VOS_FREE(copy);
    VosMsgHandle *handle = NULL;
    const VosRet ret = vosMsg_initByName(NULL, NULL);
    printf("%s %u %p\n", ok ? "ok" : "broken", ret, (void *)handle);
    return ok && ret == VOS_RET_BAD_ARG ? 0 : 1;
}
