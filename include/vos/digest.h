/** @file
 *  MD5 (RFC 1321) and SHA-256 (FIPS 180-4) of data that arrives in pieces.
 *
 *  A digest is begun with the init function, fed with any number of updates of any length and ended with the final
 *  function, which clears the context. Nothing is kept outside the context: different contexts may be used by different
 *  threads at once. SHA-256 uses the processor's own instructions where it has them. A NULL context does nothing; NULL
 *  data adds nothing.
 */
#ifndef VOS_DIGEST_H
#define VOS_DIGEST_H

#include "vos/base.h"

#define UTIL_MD5_DIGEST_SIZE 16 /**< bytes of an MD5 digest */
#define SHA256_HASH_SIZE 32     /**< bytes of a SHA-256 digest */

/** A running MD5 digest. */
typedef struct {
    uint64_t bitCount; /**< bits fed so far, modulo 2^64 */
    uint32_t state[4]; /**< chaining words A, B, C, D */
    uint8_t block[64]; /**< bytes that do not fill a block yet */
} UtilMd5Context;
VOS_STATIC_ASSERT(sizeof(UtilMd5Context) == 88, "callers allocate contexts");
VOS_STATIC_ASSERT(offsetof(UtilMd5Context, state) == 8 && offsetof(UtilMd5Context, block) == 24,
                  "callers allocate contexts");

/** A running SHA-256 digest. */
typedef struct {
    uint8_t block[64];  /**< bytes that do not fill a block yet */
    uint32_t fill;      /**< how many they are, 0 to 63 */
    uint64_t bitLength; /**< bits in the whole blocks before them */
    uint32_t state[8];  /**< hash words H0 to H7 */
} Sha256Context;
VOS_STATIC_ASSERT(sizeof(Sha256Context) == 112, "callers allocate contexts");
VOS_STATIC_ASSERT(offsetof(Sha256Context, fill) == 64 && offsetof(Sha256Context, bitLength) == 72 &&
                      offsetof(Sha256Context, state) == 80,
                  "callers allocate contexts");

VOS_BEGIN_DECLS

/** Begins an MD5 digest. MD5 withstands no attacker; it is here for formats that demand it. */
void UTIL_md5Init(UtilMd5Context *context);
/** Adds @p len bytes. */
void UTIL_md5Update(UtilMd5Context *context, const uint8_t *data, uint32_t len);
/** Writes the digest and clears the context. A NULL @p digest does nothing. */
void UTIL_md5Final(uint8_t digest[UTIL_MD5_DIGEST_SIZE], UtilMd5Context *context);

/** Begins a SHA-256 digest. */
void sha256_init(Sha256Context *context);
/** Adds @p len bytes. */
void sha256_update(Sha256Context *context, const uint8_t *data, uint32_t len);
/** Writes the digest and clears the context. A NULL @p hash does nothing. */
void sha256_final(Sha256Context *context, uint8_t hash[SHA256_HASH_SIZE]);

VOS_END_DECLS

#endif
