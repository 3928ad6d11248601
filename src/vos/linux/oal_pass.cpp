// Password hashing by the platform.
#include <crypt.h>

#include <cerrno>

#include "vos/password.h"

char *oalPass_crypt(const char *key, const char *salt) {
    if (key == nullptr || salt == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    return crypt(key, salt);
}
