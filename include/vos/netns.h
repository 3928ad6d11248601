/** @file
 *  Named network namespaces: files below "/var/run/netns", as ip-netns(8) makes them, each with optional configuration
 *  files below "/etc/netns/NAME".
 *
 *  These functions report on standard error, not through the diagnostic channel. netns_switch() takes no lock and
 *  allocates nothing, so it may run in a freshly forked child.
 */
#ifndef VOS_NETNS_H
#define VOS_NETNS_H

#include "vos/base.h"

VOS_BEGIN_DECLS

/** Moves the calling process into a named namespace with a "/sys" of its own and the namespace's configuration files
 *  mounted over those in "/etc". Needs CAP_SYS_ADMIN.
 *
 *  @return 0; -1 at the first step that fails, with what was done before left in force. A configuration file that
 *  cannot be mounted is reported and passed over.
 */
int netns_switch(const char *name);

/** Opens a namespace read-only. A name with a '/' in it is taken as a path.
 *
 *  @return a descriptor, closed by the caller; -1 with errno set
 */
int netns_get_fd(const char *name);

/** Calls @p callback, which must not throw, with every namespace's name and @p arg until it returns other than 0.
 *
 *  @return 0, also when the callback ended the walk; -1 when "/var/run/netns" cannot be opened
 */
int netns_foreach(int (*callback)(char *name, void *arg), void *arg);

VOS_END_DECLS

#endif
