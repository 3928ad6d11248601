// Named network namespaces.
#include "vos/netns.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "internal/child_error.h"
#include "internal/dir_reader.h"
#include "internal/guards.h"
#include "internal/own_names.h"

using vos::childError;
using vos::errorText;

namespace {

constexpr const char *kRunDir = "/var/run/netns";
constexpr const char *kConfigDir = "/etc/netns";
constexpr size_t kPathSize = 4096;

// "DIR/NAME"; false, with errno set, when that does not fit: a cut path would name something else.
bool joinPath(char (&path)[kPathSize], const char *dir, const char *name) {
    const int length = snprintf(path, sizeof path, "%s/%s", dir, name);
    if (length < 0 || static_cast<size_t>(length) >= sizeof path) {
        errno = ENAMETOOLONG;
        return false;
    }
    return true;
}

bool enterNamespace(const char *name) {
    char path[kPathSize];
    const vos::UniqueFd fd{joinPath(path, kRunDir, name) ? open(path, O_RDONLY | O_CLOEXEC) : -1};
    if (!fd) {
        childError("Cannot open network namespace \"%s\": %s\n", name, errorText(errno));
        return false;
    }
    if (setns(fd.get(), CLONE_NEWNET) < 0) {
        childError("setting the network namespace \"%s\" failed: %s\n", name, errorText(errno));
        return false;
    }
    return true;
}

// A private view of the mounts with a sysfs that shows the new namespace's interfaces.
bool remountSys(const char *name) {
    if (unshare(CLONE_NEWNS) < 0) {
        childError("unshare failed: %s\n", errorText(errno));
        return false;
    }
    if (mount("", "/", "none", MS_SLAVE | MS_REC, nullptr) != 0) {
        childError("\"mount --make-rslave /\" failed: %s\n", errorText(errno));
        return false;
    }
    if (umount2("/sys", MNT_DETACH) < 0) {
        childError("umount of /sys failed: %s\n", errorText(errno));
        return false;
    }
    if (mount(name, "/sys", "sysfs", 0, nullptr) < 0) {
        childError("mount of /sys failed: %s\n", errorText(errno));
        return false;
    }
    return true;
}

void bindConfiguration(const char *name) {
    char dirPath[kPathSize];
    if (!joinPath(dirPath, kConfigDir, name)) {
        return;
    }
    vos::DirReader dir{dirPath};
    if (!dir) {
        return;
    }
    while (const char *entry = dir.next()) {
        char source[kPathSize];
        char target[kPathSize];
        target[0] = '\0';
        if (!joinPath(source, dirPath, entry) || !joinPath(target, "/etc", entry) ||
            mount(source, target, "none", MS_BIND, nullptr) < 0) {
            childError("Bind %s -> %s failed: %s\n", source, target, errorText(errno));
        }
    }
}

}  // namespace

int vos::own::netns_switch(const char *name) {
    if (name == nullptr || !enterNamespace(name) || !remountSys(name)) {
        return -1;
    }
    bindConfiguration(name);
    return 0;
}

VOS_OPEN_NAME int netns_switch(const char *name) {
    return vos::own::netns_switch(name);
}

VOS_OPEN_NAME int netns_get_fd(const char *name) {
    if (name == nullptr) {
        errno = EINVAL;
        return -1;
    }
    if (strchr(name, '/') != nullptr) {
        return open(name, O_RDONLY | O_CLOEXEC);
    }
    char path[kPathSize];
    return joinPath(path, kRunDir, name) ? open(path, O_RDONLY | O_CLOEXEC) : -1;
}

VOS_OPEN_NAME int netns_foreach(int (*callback)(char *name, void *arg), void *arg) {
    vos::DirReader dir{kRunDir};
    if (!dir) {
        return -1;
    }
    while (const char *entry = dir.next()) {
        char name[NAME_MAX + 1];
        snprintf(name, sizeof name, "%s", entry);
        if (callback == nullptr || callback(name, arg) != 0) {
            break;
        }
    }
    return 0;
}
