/** @file
 *  UTF-8: single characters, arrays of 32-bit units, and a guess whether a text is UTF-8 at all.
 *
 *  Sequences of up to 6 bytes are read and written (RFC 2279); a unit may be any value below 2^31. Nothing is kept
 *  between calls; any thread may call.
 */
#ifndef VOS_UTF8_H
#define VOS_UTF8_H

#include "vos/base.h"

VOS_BEGIN_DECLS

/** Decodes one character.
 *
 *  @param unit   receives its value; may be NULL
 *  @param bytes  at least @p len readable bytes
 *  @return bytes used; -1 for a broken, cut or overlong sequence, NULL or a @p len below 1
 */
int utf8_mbtowc(uint32_t *unit, const uint8_t *bytes, int32_t len);

/** Decodes a text up to its NUL or @p count bytes; a byte that begins no sequence is skipped.
 *
 *  @param units  room for @p count units; no terminator is written
 *  @return units written
 */
int utf8_mbstowcs(uint32_t *units, const uint8_t *text, int32_t count);

/** Encodes one character.
 *
 *  @param out   @p room bytes
 *  @return bytes written; 0 for a NULL @p out; -1 when it does not fit or is 2^31 or more
 */
int utf8_wctomb(uint8_t *out, uint32_t unit, int32_t room);

/** Encodes units up to a 0. Units below 0x80 take no room: @p out holds one byte for each of them beside @p room bytes
 *  for the others. A unit that does not fit is skipped and takes one byte of the room.
 *
 *  @return bytes written; no terminator is written
 */
int utf8_wcstombs(uint8_t *out, const uint32_t *units, int32_t room);

/** Guesses whether a text is UTF-8 rather than GB18030, by its first 256 bytes. False for plain ASCII and NULL. */
bool UTIL_strIsUTF8(const char *s);

VOS_END_DECLS

#endif
