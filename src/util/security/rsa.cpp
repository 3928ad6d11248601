// RSA with the key pair of a PKCS#12 file, through OpenSSL's public-key envelope.
#include <cstring>

#include "internal/guards.h"
#include "internal/own_names.h"
#include "util/security/ossl.h"
#include "vos/security.h"

namespace {

using vos::OpenSsl;
using vos::openSsl;
using vos::Scope;

constexpr char kDefaultPassPhrase[] = "Qm7ZtR4wXp2LkD";

// The integrity check runs before anything proves that the file comes from somebody who knows the pass phrase.
constexpr long kMaxIterations = 10'000'000;

bool isIntegrityCheckable(const PKCS12 *bundle) {
    const ASN1_INTEGER *iterations = nullptr;
    openSsl.PKCS12_get0_mac(nullptr, nullptr, nullptr, &iterations, bundle);
    // Without a number there is one iteration; a negative or overlong one is no number at all.
    return openSsl.PKCS12_mac_present(bundle) == 1 &&
           (iterations == nullptr ||
            (openSsl.ASN1_INTEGER_get(iterations) >= 0 && openSsl.ASN1_INTEGER_get(iterations) <= kMaxIterations));
}

// Reads a bundle into `bundle`, NULL or one that is bound to a library context, and releases it. Without a key,
// `*isBundle` says whether other ciphers could still find one.
EVP_PKEY *readKey(BIO *file, PKCS12 *bundle, const char *passPhrase, bool *isBundle) {
    const Scope freeBundle{[&bundle] { openSsl.PKCS12_free(bundle); }};
    EVP_PKEY *key = nullptr;
    // Certificate and chain are not asked for, which frees them inside the call.
    *isBundle = openSsl.d2i_PKCS12_bio(file, &bundle) != nullptr && isIntegrityCheckable(bundle);
    return *isBundle && openSsl.PKCS12_parse(bundle, passPhrase, &key, nullptr, nullptr) == 1 ? key : nullptr;
}

#if OPENSSL_VERSION_NUMBER >= 0x30000000L
// The same key in the process's own library context: one that belongs to another context must not outlive it.
EVP_PKEY *copyToDefaultContext(const EVP_PKEY *key) {
    unsigned char *encoded = nullptr;
    const int length = openSsl.i2d_PrivateKey(key, &encoded);
    if (length <= 0) {
        return nullptr;
    }
    const unsigned char *position = encoded;
    EVP_PKEY *copy = openSsl.d2i_AutoPrivateKey(nullptr, &position, length);
    openSsl.OPENSSL_clear_free(encoded, static_cast<size_t>(length));
    return copy;
}

// Reads a bundle with the ciphers that OpenSSL 3 keeps apart. They are loaded into a library context of our own, so
// that the process does not begin to accept them elsewhere.
EVP_PKEY *readLegacyKey(BIO *file, const char *passPhrase) {
    OSSL_LIB_CTX *context = openSsl.OSSL_LIB_CTX_new();
    const Scope freeContext{[context] { openSsl.OSSL_LIB_CTX_free(context); }};
    OSSL_PROVIDER *common = context != nullptr ? openSsl.OSSL_PROVIDER_load(context, "default") : nullptr;
    const Scope unloadCommon{[common] { openSsl.OSSL_PROVIDER_unload(common); }};
    OSSL_PROVIDER *legacy = common != nullptr ? openSsl.OSSL_PROVIDER_load(context, "legacy") : nullptr;
    const Scope unloadLegacy{[legacy] { openSsl.OSSL_PROVIDER_unload(legacy); }};
    PKCS12 *bundle = legacy != nullptr ? openSsl.PKCS12_init_ex(NID_pkcs7_data, context, nullptr) : nullptr;
    bool isBundle = false;
    EVP_PKEY *key = bundle != nullptr ? readKey(file, bundle, passPhrase, &isBundle) : nullptr;
    const Scope freeKey{[key] { openSsl.EVP_PKEY_free(key); }};
    return key != nullptr ? copyToDefaultContext(key) : nullptr;
}
#endif

EVP_PKEY *readKeyFile(const char *path, const char *passPhrase) {
    if (path == nullptr ||
        openSsl.OPENSSL_init_crypto(OPENSSL_INIT_ADD_ALL_CIPHERS | OPENSSL_INIT_ADD_ALL_DIGESTS, nullptr) != 1) {
        return nullptr;
    }
    BIO *file = openSsl.BIO_new_file(path, "rbe");
    const Scope closeFile{[file] { openSsl.BIO_free(file); }};
    if (file == nullptr) {
        return nullptr;
    }
    bool isBundle = false;
    EVP_PKEY *key = readKey(file, nullptr, passPhrase, &isBundle);
#if OPENSSL_VERSION_NUMBER >= 0x30000000L
    if (key == nullptr && isBundle && openSsl.BIO_ctrl(file, BIO_C_FILE_SEEK, 0, nullptr) == 0) {
        key = readLegacyKey(file, passPhrase);
    }
#endif
    return key;
}

EVP_PKEY *readRsaKey(const char *pfxPath, const char *passPhrase) {
    // Contract: the default file is read with its own pass phrase, whatever is passed along.
    EVP_PKEY *key =
        pfxPath != nullptr ? readKeyFile(pfxPath, passPhrase) : readKeyFile(UTIL_DEFAULT_PFX_FILE, kDefaultPassPhrase);
    if (key != nullptr && openSsl.EVP_PKEY_base_id(key) != EVP_PKEY_RSA) {
        openSsl.EVP_PKEY_free(key);
        return nullptr;
    }
    return key;
}

struct Direction {
    decltype(OpenSsl::EVP_PKEY_encrypt_init) OpenSsl::*init;
    decltype(OpenSsl::EVP_PKEY_encrypt) OpenSsl::*convert;
};
constexpr Direction kEncrypt{&OpenSsl::EVP_PKEY_encrypt_init, &OpenSsl::EVP_PKEY_encrypt};
constexpr Direction kDecrypt{&OpenSsl::EVP_PKEY_decrypt_init, &OpenSsl::EVP_PKEY_decrypt};

VosRet convert(const Direction &direction, const uint8_t *in, uint32_t inLen, uint8_t *out, uint32_t *outLen,
               const char *pfxPath, const char *passPhrase) {
    if (in == nullptr || out == nullptr || outLen == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const vos::OpenSslUse ssl;
    if (!ssl) {
        return VOS_RET_ERROR;
    }
    EVP_PKEY *key = readRsaKey(pfxPath, passPhrase);
    const Scope freeKey{[key] { openSsl.EVP_PKEY_free(key); }};
    EVP_PKEY_CTX *context = key != nullptr ? openSsl.EVP_PKEY_CTX_new(key, nullptr) : nullptr;
    const Scope freeContext{[context] { openSsl.EVP_PKEY_CTX_free(context); }};
    if (context == nullptr || (openSsl.*direction.init)(context) != 1 ||
        openSsl.EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PADDING) != 1) {
        return VOS_RET_ERROR;
    }
    // OpenSSL wants room for a whole modulus, also for a plain text of a few bytes.
    const auto size = static_cast<size_t>(openSsl.EVP_PKEY_size(key));
    const vos::MemPtr<uint8_t> result = vos::allocZeroed<uint8_t>(size);
    size_t length = size;
    if (!result) {
        return VOS_RET_ERROR;
    }
    const Scope clearResult{[&result, size] { explicit_bzero(result.get(), size); }};
    if ((openSsl.*direction.convert)(context, result.get(), &length, in, inLen) != 1 || length > size) {
        return VOS_RET_ERROR;
    }
    memcpy(out, result.get(), length);
    *outLen = static_cast<uint32_t>(length);
    return VOS_RET_OK;
}

}  // namespace

VOS_OPEN_NAME EVP_PKEY *readKeyPairFromPfx(const char *file, const char *passPhrase) {
    const vos::OpenSslUse ssl;
    return ssl ? readKeyFile(file, passPhrase) : nullptr;
}

VosRet UTIL_RsaPrivateKeyDecrypt(const uint8_t *in, uint32_t inLen, uint8_t *out, uint32_t *outLen, const char *pfxPath,
                                 const char *passPhrase) {
    return convert(kDecrypt, in, inLen, out, outLen, pfxPath, passPhrase);
}

VosRet UTIL_RsaPulicKeyEcrypt(const uint8_t *in, uint32_t inLen, uint8_t *out, uint32_t *outLen, const char *pfxPath,
                              const char *passPhrase) {
    return convert(kEncrypt, in, inLen, out, outLen, pfxPath, passPhrase);
}
