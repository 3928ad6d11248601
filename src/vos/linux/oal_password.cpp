// Password hashing by the platform. Where crypt(3) has a library of its own, libvos.so opens that at first use.
#include <crypt.h>

#include <cerrno>

#include "vos/password.h"

#ifdef VOS_LIBCRYPT_SONAME
#include "internal/late_library.h"
#endif

namespace {

#ifdef VOS_LIBCRYPT_SONAME
constinit vos::LateLibrary s_library;
decltype(&crypt) s_crypt = nullptr;

bool bindCrypt() {
    return s_library.bind(VOS_LIBCRYPT_SONAME, "crypt\0", s_crypt);
}
#else
constexpr decltype(&crypt) s_crypt = crypt;

bool bindCrypt() {
    return true;
}
#endif

}  // namespace

char *oalPass_crypt(const char *key, const char *salt) {
    if (key == nullptr || salt == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    if (!bindCrypt()) {
        errno = ENOSYS;
        return nullptr;
    }
    return s_crypt(key, salt);
}
