/** @file
 *  GB18030 (GB 18030-2005), the Chinese national character set, to and from Unicode and UTF-8.
 *
 *  char2uni() and uni2char() work on UTF-16 units; characters beyond U+FFFF travel as surrogate pairs, one half a call,
 *  with the other half pending in process-wide state that outlives a text. So callers serialise all functions here
 *  except String_Copy().
 *
 *  @note New texts come from the plain heap and are released with free(), not with vosMem_free().
 */
#ifndef VOS_GB18030_H
#define VOS_GB18030_H

#include "vos/base.h"
#include "vos/utf8.h"

VOS_BEGIN_DECLS

/** Decodes one character, or one half of a character beyond U+FFFF (two bytes each).
 *
 *  @param bytes  at least @p len readable bytes
 *  @param unit   receives the UTF-16 unit
 *  @return bytes consumed, 1, 2 or 4; 0 when a pending half is not followed by its own two bytes; -1 for anything
 *          unmapped, broken or cut, and for NULL
 */
int char2uni(const uint8_t *bytes, int32_t len, uint32_t *unit);

/** Encodes one UTF-16 unit.
 *
 *  @param out  @p room bytes
 *  @return bytes written, 1, 2 or 4; 0 for a high surrogate, which is kept for the next call; -1 for anything unmapped
 *          (U+10000 to U+1FFFF among it) or without room, and for NULL
 */
int uni2char(uint32_t unit, uint8_t *out, int32_t room);

/** Copies @p len bytes of a text, all of it for a negative @p len, and terminates them. NULL for NULL or short memory.
 */
char *String_Copy(const char *text, int32_t len);

/** A GB18030 text as UTF-8, up to the first byte that cannot be converted. Characters beyond U+FFFF become two
 *  three-byte sequences. A copy of the input when working memory is short; NULL for NULL or no memory at all. */
char *EncodeToUTF8(const char *gb);

/** A UTF-8 text as GB18030, up to the first character that cannot be converted. The length of the whole text is the
 *  room of every single character, so a text of three bytes cannot become a four-byte code. Otherwise as
 *  EncodeToUTF8(). */
char *DecodeFromUTF8(const char *utf8);

/** A copy of a text that UTIL_strIsUTF8(), else EncodeToUTF8(). */
char *UTIL_strConvToUTF8(const char *s);

VOS_END_DECLS

#endif
