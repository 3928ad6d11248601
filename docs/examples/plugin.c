/* An operator plug-in: its name in three forms. */
#include <stdio.h>
#include <vos/mem.h>
#include <vos/plugin.h>

int main(void) {
    char *name = vosMem_strdup("com.operator.acme.smartgateway.light", __func__, __LINE__);
    char *customer = NULL;
    if (name == NULL || UTIL_pluginGetCustomer(name, &customer) == NULL) {
        return 1;
    }
    printf("customer %s\n", customer);
    UTIL_pluginSetPluginNameByCustomer(&name, "other"); /* puts a new allocation in the place of the name */
    printf("%s\n", name);
    VOS_FREE(customer);
    VOS_FREE(name);
    return 0;
}

/* Prints:
customer acme
com.operator.other.smartgateway.light
*/
