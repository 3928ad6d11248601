/** @file
 *  Small byte-level codecs: base64 (RFC 4648, standard alphabet) in a plain and a tolerant pair, hexadecimal text, XML
 *  character entities, CRC-32.
 *
 *  Every buffer handed out comes from the memory manager and is freed by the caller (VOS_FREE). Sizes are computed in
 *  64 bits; a result that does not fit in 32 bits counts as short memory. Nothing keeps state: every function may run
 *  in any number of threads.
 */
#ifndef VOS_CODEC_H
#define VOS_CODEC_H

#include "vos/base.h"
#include "vos/ret.h"

VOS_BEGIN_DECLS

/** @name Base64, plain pair
 *  @{ */

/** Encodes to text without line breaks, padded with '='.
 *
 *  @param in   @p len bytes; NULL with bytes gives NULL
 *  @return new terminated text; NULL when memory is short
 */
char *UTIL_base64Encode(const uint8_t *in, uint32_t len);

/** Decodes groups of four characters.
 *
 *  Each group is '=' free, or ends at a '=' in its third or fourth place; groups may follow a padded one. When the
 *  third is '=', the fourth may be any character of the alphabet.
 *
 *  @param text  NULL gives NULL
 *  @param len   receives the number of bytes; 0 when a character is invalid (white space too) or the length is no
 *               multiple of four
 *  @return new buffer with the bytes and a NUL behind them, empty after an error; NULL when memory is short
 */
uint8_t *UTILs_base64Decode(const char *text, uint32_t *len);
/** @} */

/** @name Base64, tolerant pair
 *  @{ */

/** Encodes to text without line breaks, padded with '='.
 *
 *  @param in   @p len bytes
 *  @param len  above 0
 *  @param out  receives new terminated text; NULL on failure
 *  @return VOS_RET_OK; VOS_RET_NO_RESOURCE when memory is short; VOS_RET_BAD_ARG for NULL or no bytes
 */
VosRet utilB64_encode(const uint8_t *in, uint32_t len, char **out);

/** Decodes text that may hold white space, line breaks and other foreign characters, all skipped, and may lack its
 *  padding.
 *
 *  Padding ends the text: no character of the alphabet may follow. One to three characters that begin with '=' at the
 *  end are ignored.
 *
 *  @param out     receives a new buffer, not terminated; NULL on failure
 *  @param outLen  receives the number of bytes; 0 on failure
 *  @return VOS_RET_OK; VOS_RET_ERROR for misplaced padding, characters behind it, or one lone character at the end;
 *          VOS_RET_NO_RESOURCE when memory is short; VOS_RET_BAD_ARG for NULL
 */
VosRet utilB64_decode(const char *text, uint8_t **out, uint32_t *outLen);
/** @} */

/** @name Hexadecimal
 *  @{ */

/** Two lower-case digits for each byte.
 *
 *  @param hex  receives new terminated text; NULL when memory is short, untouched when @p bin is NULL
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for NULL; VOS_RET_NO_RESOURCE when memory is short
 */
VosRet util_binaryBufToHexString(const uint8_t *bin, uint32_t len, char **hex);

/** One byte for each pair of characters.
 *
 *  A pair is read as util_strtoul() reads it in base 16, so a blank or '+' and one digit is a byte too.
 *
 *  @param bin  receives a new buffer of half the text's length; NULL on failure
 *  @param len  receives its bytes; untouched on failure
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for an odd length, a pair that is no number, or NULL; VOS_RET_NO_RESOURCE when
 *          memory is short
 */
VosRet util_hexStringToBinaryBuf(const char *hex, uint8_t **bin, uint32_t *len);
/** @} */

/** @name XML entities
 *  The characters < > & % and " as &lt; &gt; &amp; &#37; and &quot;. An apostrophe is a plain character here.
 *  @{ */

/** @param in   NULL gives VOS_RET_OK and leaves @p out untouched
 *  @param out  receives new terminated text; NULL when memory is short
 *  @return VOS_RET_OK; VOS_RET_NO_RESOURCE when memory is short; VOS_RET_BAD_ARG for a NULL @p out
 */
VosRet utilXml_escapeString(const char *in, char **out);

/** Turns the five entities back into their characters; everything else stays as it is, also &apos; and other numbers.
 *
 *  @param in   NULL gives VOS_RET_OK and leaves @p out untouched
 *  @param out  receives new terminated text; NULL when memory is short
 *  @return VOS_RET_OK; VOS_RET_NO_RESOURCE when memory is short; VOS_RET_BAD_ARG for a NULL @p out
 */
VosRet utilXml_unescapeString(const char *in, char **out);
/** @} */

/** @name CRC-32
 *  The reflected CRC-32 of IEEE 802.3, polynomial 0xEDB88320.
 *  @{ */

/** Register change of each byte value, in the low 32 bits. */
extern VOS_DATA const uint64_t local_crc32_table[256];

/** Runs the register over @p len bytes, without any inversion: a start of 0xFFFFFFFF and an inverted result give the
 *  usual CRC-32. Uses the processor's instructions where it has them.
 *
 *  @param crc  register before, the result of an earlier piece or the start value
 *  @return register after
 */
uint32_t utilCrc_getCrc32(const uint8_t *buf, uint32_t len, uint32_t crc);
/** @} */

VOS_END_DECLS

#endif
