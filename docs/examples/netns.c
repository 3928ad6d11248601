/* The named network namespaces of this machine, as ip-netns(8) makes them. */
#include <stdio.h>
#include <unistd.h>
#include <vos/netns.h>

static int show(char *name, void *arg) {
    const int fd = netns_get_fd(name);
    printf("%s\n", name);
    if (fd >= 0) {
        close(fd);
    }
    (*(int *)arg)++;
    return 0;
}

int main(void) {
    int count = 0;
    if (netns_foreach(show, &count) != 0) {
        fprintf(stderr, "there is no /var/run/netns\n");
        return 1;
    }
    printf("%d namespace\n", count);
    return 0;
}

/* Prints:
guest
1 namespace
*/
