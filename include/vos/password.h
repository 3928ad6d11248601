/** @file
 *  Password hashes, random identifiers and the scrambling of buffers.
 *
 *  Results that are pointers lie in static buffers: the next call overwrites them, and one thread at a time may use
 *  these functions.
 */
#ifndef VOS_PASSWORD_H
#define VOS_PASSWORD_H

#include "vos/base.h"
#include "vos/ret.h"

#define UTIL_RAND_STRING_MAX 127 /**< longest random string, characters */

VOS_BEGIN_DECLS

/** A salt of two characters for the traditional crypt(3). Made from time, process id and processor time: it differs
 *  from call to call but is no secret. */
char *util_cryptMakeSalt(void);

/** Hashes a password with oalPass_crypt().
 *
 *  @param password  terminated text
 *  @param salt      as crypt(3) takes it; for one from util_cryptMakeSalt() the hash has 13 characters
 *  @return the hash, cut after 23 characters; an empty text for NULL arguments, when crypt refuses the salt or
 *          libcrypt cannot be opened
 */
char *util_pwEncrypt(const char *password, const char *salt);

/** crypt(3) of the operating-system layer: its static result, which for a refused salt is NULL or a text that is no
 *  hash. NULL for NULL arguments, and, with ENOSYS in errno, where libcrypt cannot be opened. */
char *oalPass_crypt(const char *key, const char *salt);

/** A random identifier of letters and digits that begins with a small letter, drawn with rand(), which the caller
 *  seeds; no secret. Where the lengths differ, each further character comes with a chance of one half.
 *
 *  @param minLen  at least 1
 *  @param maxLen  at least @p minLen, at most UTIL_RAND_STRING_MAX
 *  @return the identifier; NULL for other lengths
 */
char *utilRand_getRandString(uint32_t minLen, uint32_t maxLen);

/** Scrambles a buffer by swapping the two bits of each pair; hides a text from a glance, from no attacker.
 *
 *  The result is combined with what @p out holds (bitwise OR), so the caller passes a zeroed buffer. Scrambling twice
 *  gives the original.
 *
 *  @param inLen   bytes of @p in; those beyond @p outLen are left out
 *  @param outLen  bytes of @p out; those beyond @p inLen stay as they are
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for NULL pointers or zero lengths
 */
VosRet UTIL_bufferMessUp(const uint8_t *in, uint32_t inLen, uint8_t *out, uint32_t outLen);

VOS_END_DECLS

#endif
