// What the functions over OpenSSL share. They call libcrypto through a table, which libvos.so fills in at first use.
#pragma once

#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#if OPENSSL_VERSION_NUMBER >= 0x30000000L
#include <openssl/provider.h>
#endif

#include <cstddef>
#include <cstdint>
#include <cstring>

/** Functions that the library calls with one generation of OpenSSL only. */
#if OPENSSL_VERSION_NUMBER >= 0x30000000L
#define VOS_OPENSSL_GENERATION(X)   \
    X(CRYPTO_clear_free)            \
    X(EVP_PKEY_CTX_set_rsa_padding) \
    X(OSSL_LIB_CTX_free)            \
    X(OSSL_LIB_CTX_new)             \
    X(OSSL_PROVIDER_load)           \
    X(OSSL_PROVIDER_unload)         \
    X(PKCS12_init_ex)               \
    X(d2i_AutoPrivateKey)           \
    X(i2d_PrivateKey)
#else
#define VOS_OPENSSL_GENERATION(X) X(RSA_pkey_ctx_ctrl)
#endif

/** Applies X to every function that the library calls, or to the name that a macro of OpenSSL's headers gives it. */
#define VOS_OPENSSL_FUNCTIONS(X) \
    VOS_OPENSSL_GENERATION(X)    \
    X(ASN1_INTEGER_get)          \
    X(BIO_ctrl)                  \
    X(BIO_free)                  \
    X(BIO_new_file)              \
    X(ERR_pop_to_mark)           \
    X(ERR_set_mark)              \
    X(EVP_CIPHER_CTX_free)       \
    X(EVP_CIPHER_CTX_new)        \
    X(EVP_CipherFinal_ex)        \
    X(EVP_CipherInit_ex)         \
    X(EVP_CipherUpdate)          \
    X(EVP_Digest)                \
    X(EVP_DigestFinal_ex)        \
    X(EVP_DigestInit_ex)         \
    X(EVP_DigestUpdate)          \
    X(EVP_MD_CTX_free)           \
    X(EVP_MD_CTX_new)            \
    X(EVP_PKEY_CTX_free)         \
    X(EVP_PKEY_CTX_new)          \
    X(EVP_PKEY_base_id)          \
    X(EVP_PKEY_decrypt)          \
    X(EVP_PKEY_decrypt_init)     \
    X(EVP_PKEY_encrypt)          \
    X(EVP_PKEY_encrypt_init)     \
    X(EVP_PKEY_free)             \
    X(EVP_PKEY_size)             \
    X(EVP_aes_128_cbc)           \
    X(EVP_sha1)                  \
    X(OPENSSL_init_crypto)       \
    X(PKCS12_free)               \
    X(PKCS12_get0_mac)           \
    X(PKCS12_mac_present)        \
    X(PKCS12_parse)              \
    X(d2i_PKCS12_bio)

namespace vos {

struct OpenSsl {
// NOLINTNEXTLINE(bugprone-macro-parentheses): the name of a member
#define VOS_OPENSSL_MEMBER(function) decltype(&::function) function;
    VOS_OPENSSL_FUNCTIONS(VOS_OPENSSL_MEMBER)
#undef VOS_OPENSSL_MEMBER
};

/** libcrypto's functions, to be called while an OpenSslUse stands. */
extern OpenSsl openSsl;

/** Opens libcrypto unless that is done or was not needed. */
bool bindOpenSsl();

/** The use of libcrypto by one exported function; false where it cannot be opened. Takes the errors that the function
 *  adds to OpenSSL's queue away again at its end; older ones stay. One at a time: OpenSSL 1.1 has a single mark. */
class OpenSslUse {
  public:
    OpenSslUse() {
        if (bound_) {
            openSsl.ERR_set_mark();
        }
    }
    ~OpenSslUse() {
        if (bound_) {
            openSsl.ERR_pop_to_mark();
        }
    }
    OpenSslUse(const OpenSslUse &) = delete;
    OpenSslUse &operator=(const OpenSslUse &) = delete;
    explicit operator bool() const { return bound_; }

  private:
    const bool bound_ = bindOpenSsl();
};

/** A work buffer that is cleared at its end. */
template <size_t Size>
class SecretBuffer {
  public:
    SecretBuffer() = default;
    ~SecretBuffer() { explicit_bzero(bytes_, sizeof bytes_); }
    SecretBuffer(const SecretBuffer &) = delete;
    SecretBuffer &operator=(const SecretBuffer &) = delete;
    uint8_t *data() { return bytes_; }
    static constexpr size_t size() { return Size; }

  private:
    uint8_t bytes_[Size];
};

}  // namespace vos
