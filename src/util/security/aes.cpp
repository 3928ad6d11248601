// AES-128-CBC through OpenSSL's cipher envelope.
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "util/security/ossl.h"
#include "vos/security.h"

namespace {

using vos::openSsl;

constexpr uint32_t kMaxUpdate = 1U << 30;  // OpenSSL counts in int
constexpr size_t kReadSize = 1024;
constexpr size_t kCipherSize = kReadSize + 32;

// Calls `use(context, ready)` with a cipher context and whether it could be begun. Fails only without a context.
template <typename Use>
VosRet withCipher(const uint8_t *key, const uint8_t *iv, int enc, Use use) {
    if (key == nullptr || iv == nullptr) {
        return VOS_RET_ERROR;
    }
    const vos::OpenSslUse ssl;
    if (!ssl) {
        return VOS_RET_ERROR;
    }
    EVP_CIPHER_CTX *context = openSsl.EVP_CIPHER_CTX_new();
    const vos::Scope freeContext{[context] { openSsl.EVP_CIPHER_CTX_free(context); }};
    if (context == nullptr) {
        return VOS_RET_ERROR;
    }
    use(context,
        openSsl.EVP_CipherInit_ex(context, openSsl.EVP_aes_128_cbc(), nullptr, key, iv, enc != 0 ? 1 : 0) == 1);
    return VOS_RET_OK;
}

// The whole of `in` through the cipher; the length that came out, the final block included, is added up in `total`.
bool convert(EVP_CIPHER_CTX *context, const uint8_t *in, uint32_t inLen, uint8_t *out, uint32_t *total) {
    *total = 0;
    int produced = 0;
    while (inLen != 0) {
        const uint32_t taken = std::min(inLen, kMaxUpdate);
        if (openSsl.EVP_CipherUpdate(context, out + *total, &produced, in, static_cast<int>(taken)) != 1) {
            return false;
        }
        *total += static_cast<uint32_t>(produced);
        in += taken;
        inLen -= taken;
    }
    if (openSsl.EVP_CipherFinal_ex(context, out + *total, &produced) != 1) {
        return false;
    }
    *total += static_cast<uint32_t>(produced);
    return true;
}

// A pipe takes what it has room for, and a signal may interrupt it.
void writeAll(int fd, const uint8_t *data, size_t size) {
    while (size != 0) {
        const ssize_t written = write(fd, data, size);
        if (written > 0) {
            data += written;
            size -= static_cast<size_t>(written);
        } else if (written == 0 || errno != EINTR) {
            return;
        }
    }
}

void writeProduced(int fd, const uint8_t *data, bool ok, int produced) {
    if (ok && produced > 0) {
        writeAll(fd, data, static_cast<size_t>(produced));
    }
}

// Contract: the input is read to its end whatever becomes of the output.
void convertStream(EVP_CIPHER_CTX *context, bool ok, int inFd, int outFd) {
    vos::SecretBuffer<kReadSize> piece;
    vos::SecretBuffer<kCipherSize> cipher;
    int produced = 0;
    for (ssize_t got; (got = read(inFd, piece.data(), piece.size())) > 0;) {
        ok =
            ok && openSsl.EVP_CipherUpdate(context, cipher.data(), &produced, piece.data(), static_cast<int>(got)) == 1;
        writeProduced(outFd, cipher.data(), ok, produced);
    }
    ok = ok && openSsl.EVP_CipherFinal_ex(context, cipher.data(), &produced) == 1;
    writeProduced(outFd, cipher.data(), ok, produced);
}

}  // namespace

VosRet UTIL_aes128CbcBufferEncrypt(const uint8_t key[UTIL_AES128_SIZE], const uint8_t iv[UTIL_AES128_SIZE],
                                   const uint8_t *in, uint32_t inLen, uint8_t *out, uint32_t *outLen, int enc) {
    if ((in == nullptr && inLen != 0) || out == nullptr || outLen == nullptr || inLen > UINT32_MAX - UTIL_AES128_SIZE) {
        return VOS_RET_ERROR;
    }
    uint32_t total = 0;
    bool ok = false;
    const VosRet ret = withCipher(key, iv, enc, [&](EVP_CIPHER_CTX *context, bool ready) {
        ok = ready && convert(context, in, inLen, out, &total);
    });
    if (ret != VOS_RET_OK) {
        return ret;
    }
    VOS_DBG_DEBUG("EVP_CipherFinal_ex: %d", ok ? 1 : 0);
    if (!ok) {
        return VOS_RET_ERROR;
    }
    *outLen = total;
    return VOS_RET_OK;
}

VosRet UTIL_aes128CbcStreamEncrypt(const uint8_t key[UTIL_AES128_SIZE], const uint8_t iv[UTIL_AES128_SIZE],
                                   int32_t inFd, int32_t outFd, int enc) {
    // Contract: the result is success whatever becomes of the data.
    return withCipher(key, iv, enc,
                      [=](EVP_CIPHER_CTX *context, bool ready) { convertStream(context, ready, inFd, outFd); });
}
