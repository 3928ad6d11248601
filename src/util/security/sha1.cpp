// SHA-1 through OpenSSL's digest envelope.
#include <unistd.h>

#include "internal/guards.h"
#include "util/security/ossl.h"
#include "vos/security.h"

namespace {

using vos::openSsl;

constexpr size_t kReadSize = 1024;

VosRet result(bool ok) {
    return ok ? VOS_RET_OK : VOS_RET_ERROR;
}

}  // namespace

VosRet UTIL_sha1FromBuffer(const uint8_t *data, uint32_t len, uint8_t digest[UTIL_SHA1_DIGEST_SIZE]) {
    if (data == nullptr || digest == nullptr) {
        return VOS_RET_ERROR;
    }
    const vos::OpenSslUse ssl;
    return result(ssl && openSsl.EVP_Digest(data, len, digest, nullptr, openSsl.EVP_sha1(), nullptr) == 1);
}

VosRet UTIL_sha1FromStream(int32_t fd, uint8_t digest[UTIL_SHA1_DIGEST_SIZE]) {
    if (digest == nullptr) {
        return VOS_RET_ERROR;
    }
    const vos::OpenSslUse ssl;
    if (!ssl) {
        return VOS_RET_ERROR;
    }
    EVP_MD_CTX *context = openSsl.EVP_MD_CTX_new();
    const vos::Scope freeContext{[context] { openSsl.EVP_MD_CTX_free(context); }};
    if (context == nullptr || openSsl.EVP_DigestInit_ex(context, openSsl.EVP_sha1(), nullptr) != 1) {
        return VOS_RET_ERROR;
    }
    vos::SecretBuffer<kReadSize> buffer;
    bool ok = true;
    for (ssize_t got; (got = read(fd, buffer.data(), buffer.size())) > 0;) {
        ok = openSsl.EVP_DigestUpdate(context, buffer.data(), static_cast<size_t>(got)) == 1 && ok;
    }
    return result(ok && openSsl.EVP_DigestFinal_ex(context, digest, nullptr) == 1);
}
