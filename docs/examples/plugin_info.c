/* A plug-in's description file, one directory above the working directory:

       Name: com.operator.example
       ImportInterface: wifi, led
*/
#include <stdio.h>
#include <vos/plugin_info.h>

int main(void) {
    char name[64] = ""; /* stays as it is when the key is absent */
    char interfaces[128] = "";
    if (UTIL_pluginGetName(name, sizeof name) != VOS_RET_OK) {
        return 1; /* VOS_RET_OPEN_FAILED: this is no plug-in */
    }
    UTIL_pluginGetImportInterface(interfaces, sizeof interfaces);
    printf("%s uses %s\n", name, interfaces);
    return 0;
}

/* Prints:
com.operator.example uses wifi, led
*/
