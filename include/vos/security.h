/** @file
 *  RSA with a key pair from a PKCS#12 file, SHA-1 and AES-128-CBC, over OpenSSL's libcrypto. Not part of a library that
 *  was built with VOS_WITH_SECURITY=OFF.
 *
 *  libvos.so opens libcrypto at the first call. Where that fails, so does the call, and the next one tries again.
 *
 *  Nothing is kept between calls and every function may be called from any thread. Keys and plain text are cleared from
 *  the library's own buffers before these are released. The functions leave no error in OpenSSL's queue
 *  (OpenSSL 1.1 empties it when it decodes a file).
 */
#ifndef VOS_SECURITY_H
#define VOS_SECURITY_H

#include "vos/base.h"
#include "vos/ret.h"

#define UTIL_SHA1_DIGEST_SIZE 20 /**< bytes of a SHA-1 digest */
#define UTIL_AES128_SIZE 16      /**< bytes of an AES-128 key, of an initialisation vector and of a block */

/** The key pair that the device is provisioned with; its pass phrase is known to the library. */
#define UTIL_DEFAULT_PFX_FILE "/usr/share/standby_key/ferrox.pfx"

VOS_BEGIN_DECLS

struct evp_pkey_st; /* OpenSSL's EVP_PKEY */

/** Reads the private key, with its public half, from a PKCS#12 file (RFC 7292).
 *
 *  Files of both generations are read: AES with PBKDF2 as well as RC2 or triple DES. With OpenSSL 3 the older ciphers
 *  come from its legacy provider, which is loaded apart from the process's own providers; where it is not installed
 *  such a file counts as unreadable. So does a file without integrity protection, or with more than ten million
 *  iterations in it, which would take minutes to check.
 *
 *  @param file        path; NULL gives NULL
 *  @param passPhrase  terminated text; NULL stands for a file without a pass phrase
 *  @return the key, which the caller frees with EVP_PKEY_free(); NULL when the file cannot be opened or decoded, the
 *          pass phrase is wrong, no key is in it or libcrypto cannot be opened
 */
struct evp_pkey_st *readKeyPairFromPfx(const char *file, const char *passPhrase);

/** Decrypts with the private key of a PKCS#12 file, RSA with PKCS#1 v1.5 padding (RFC 8017, 7.2.2).
 *
 *  Some releases of OpenSSL answer a cipher text with broken padding with random bytes instead of a failure, so a
 *  result proves nothing about who sent it.
 *
 *  @param in          cipher text, @p inLen bytes
 *  @param out         receives the plain text; has room for as many bytes as the key's modulus has
 *  @param outLen      receives the length of the plain text
 *  @param pfxPath     PKCS#12 file; NULL: the device's own, and then @p passPhrase is not looked at
 *  @param passPhrase  see readKeyPairFromPfx()
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for a NULL @p in, @p out or @p outLen; VOS_RET_ERROR when there is no RSA key in
 *          the file, the decryption fails or libcrypto cannot be opened, with @p out and @p outLen untouched
 */
VosRet UTIL_RsaPrivateKeyDecrypt(const uint8_t *in, uint32_t inLen, uint8_t *out, uint32_t *outLen, const char *pfxPath,
                                 const char *passPhrase);

/** Encrypts with the public key of a PKCS#12 file, RSA with PKCS#1 v1.5 padding (RFC 8017, 7.2.1).
 *
 *  @param in   plain text, at most 11 bytes fewer than the key's modulus has
 *  @param out  receives the cipher text, as many bytes as the modulus has
 *  @return as UTIL_RsaPrivateKeyDecrypt(), whose other arguments and results are the same
 */
VosRet UTIL_RsaPulicKeyEcrypt(const uint8_t *in, uint32_t inLen, uint8_t *out, uint32_t *outLen, const char *pfxPath,
                              const char *passPhrase);

/** SHA-1 (FIPS 180-4) of @p len bytes.
 *
 *  @return VOS_RET_OK; VOS_RET_ERROR for NULL @p data (whatever its length) or @p digest, and where OpenSSL refuses
 *          the algorithm or cannot be opened
 */
VosRet UTIL_sha1FromBuffer(const uint8_t *data, uint32_t len, uint8_t digest[UTIL_SHA1_DIGEST_SIZE]);

/** SHA-1 of what a descriptor still has to give. It stays open and is left at its end.
 *
 *  A failed read ends the data as the end of the file does: the digest is that of what was read until then.
 *
 *  @return VOS_RET_OK; VOS_RET_ERROR for a NULL @p digest and where OpenSSL refuses the algorithm or cannot be opened
 */
VosRet UTIL_sha1FromStream(int32_t fd, uint8_t digest[UTIL_SHA1_DIGEST_SIZE]);

/** Encrypts or decrypts a buffer, AES-128-CBC (NIST SP 800-38A) with PKCS#7 padding.
 *
 *  @param in      @p inLen bytes; may be NULL when that is 0, and may be the same buffer as @p out
 *  @param out     has room for @p inLen + 16 bytes
 *  @param outLen  receives the length of the result
 *  @param enc     1 encrypts, 0 decrypts
 *  @return VOS_RET_OK; VOS_RET_ERROR for NULL pointers, a result of more than 2^32 - 1 bytes, and when OpenSSL cannot
 *          be opened or fails, above all when the padding is wrong after a decryption; @p outLen is untouched then, and
 *          @p out may hold a part of the result
 */
VosRet UTIL_aes128CbcBufferEncrypt(const uint8_t key[UTIL_AES128_SIZE], const uint8_t iv[UTIL_AES128_SIZE],
                                   const uint8_t *in, uint32_t inLen, uint8_t *out, uint32_t *outLen, int enc);

/** Encrypts or decrypts from one descriptor to another, AES-128-CBC with PKCS#7 padding. Both stay open.
 *
 *  Reads until a read gives nothing or fails. Failures of reads, of writes and of the cipher (wrong padding, a cut
 *  input) are not reported, so the result says nothing about the output.
 *
 *  @return VOS_RET_OK; VOS_RET_ERROR for NULL @p key or @p iv and when there is no memory for the cipher or
 *          OpenSSL cannot be opened
 */
VosRet UTIL_aes128CbcStreamEncrypt(const uint8_t key[UTIL_AES128_SIZE], const uint8_t iv[UTIL_AES128_SIZE],
                                   int32_t inFd, int32_t outFd, int enc);

VOS_END_DECLS

#endif
