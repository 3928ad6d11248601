// The table of libcrypto's functions: filled in at first use, or by the linker where VOS_LIBCRYPTO_SONAME is not
// defined.
#include "util/security/ossl.h"

#ifdef VOS_LIBCRYPTO_SONAME
#include "internal/late_library.h"

namespace {

// The inner macro is what lets a name that is a macro of OpenSSL's expand.
#define VOS_OPENSSL_TEXT(function) #function "\0"
#define VOS_OPENSSL_NAME(function) VOS_OPENSSL_TEXT(function)
constexpr char kNames[] = VOS_OPENSSL_FUNCTIONS(VOS_OPENSSL_NAME);

constinit vos::LateLibrary s_library;

}  // namespace

vos::OpenSsl vos::openSsl;

bool vos::bindOpenSsl() {
    return s_library.bind(VOS_LIBCRYPTO_SONAME, kNames, openSsl);
}

#else

#define VOS_OPENSSL_ADDRESS(function) ::function,
vos::OpenSsl vos::openSsl{VOS_OPENSSL_FUNCTIONS(VOS_OPENSSL_ADDRESS)};

bool vos::bindOpenSsl() {
    return true;
}

#endif
