/** @file
 *  Lempel-Ziv-Welch streams as strips of TIFF 6.0 files carry them: codes of 9 to 12 bits, most significant bit first,
 *  clear code 256, end code 257, and a width that grows one code before it must.
 *
 *  The encoder fills one buffer across several calls; the decoder reads one buffer and gives its output in pieces of
 *  any size. Each keeps everything in one block taken at its start; no later call allocates. A state belongs to one
 *  thread at a time, different states are independent.
 */
#ifndef VOS_LZW_H
#define VOS_LZW_H

#include "vos/base.h"
#include "vos/ret.h"

/** How far a decoder is. */
enum {
    UTIL_LZW_OPEN = 0,      /**< more may come */
    UTIL_LZW_END_CODE = 1,  /**< the stream was whole */
    UTIL_LZW_CORRUPT = 2,   /**< a code that stands for nothing */
    UTIL_LZW_CUT_SHORT = 3, /**< the input ended without an end code */
};

/** What a decoder's handle points at, to be read between two calls. */
typedef struct {
    uint32_t end; /**< UTIL_LZW_OPEN and its kin */
} UtilLzwDecoderState;

VOS_BEGIN_DECLS

/** Starts an encoder.
 *
 *  @param state    receives the handle, released with utilLzw_cleanupEncoder(); NULL on failure
 *  @param out      receives the stream; must stay until the last flush
 *  @param outSize  bytes of @p out; below 0 counts as no buffer. Besides the limit of each utilLzw_encode() the
 *                  codes around the data need up to 5 bytes.
 *  @return VOS_RET_OK; VOS_RET_NO_RESOURCE when memory is short; VOS_RET_BAD_ARG for a NULL argument with bytes
 */
VosRet utilLzw_initEncoder(void **state, uint8_t *out, int32_t outSize);

/** Encodes a piece of the input.
 *
 *  The first call, and the first after a flush, starts with a clear code, in the width in use: after a flush that may
 *  be more than 9 bits, which only a reader of the same buffer from its start can follow.
 *
 *  The input is refused when 3 * @p len exceeds 2 * (bytes of the buffer not yet reported) + 5, in 32-bit unsigned
 *  arithmetic. A stream can outgrow a buffer that passes; codes that no longer fit are then dropped, and the next
 *  flush says so.
 *
 *  @return whole bytes that this call completed, all of them in the buffer; -1 when the input is refused or
 *          @p state is NULL
 */
int32_t utilLzw_encode(void *state, const uint8_t *in, uint32_t len);

/** Ends the stream: the pending code, the end code, zero bits up to the next whole byte.
 *
 *  @return bytes that this call completed; -1 when codes of this stream did not fit the buffer (the contents are then
 *          no whole stream, and every later flush fails too) or @p state is NULL
 */
int32_t utilLzw_flushEncoder(void *state);

/** Frees an encoder and sets the handle to NULL. */
void utilLzw_cleanupEncoder(void **state);

/** Starts a decoder.
 *
 *  @param state  receives the handle, released with utilLzw_cleanupDecoder(); NULL on failure
 *  @param in     the whole stream; must stay until the end was reached. Need not be trusted.
 *  @param len    its bytes
 *  @return VOS_RET_OK; VOS_RET_NO_RESOURCE when memory is short; VOS_RET_BAD_ARG for a NULL argument with bytes
 */
VosRet utilLzw_initDecoder(void **state, const uint8_t *in, uint32_t len);

/** Decodes the next piece.
 *
 *  @param out  receives at most @p len bytes; those behind the result are undefined
 *  @param len  room; above 2147483647 counts as that
 *  @return bytes written; fewer than @p len when the stream ended, at its end code, at a corrupt code or at the end of
 *          the input (UtilLzwDecoderState says which); -1 when it had ended before this call or @p state is NULL
 */
int32_t utilLzw_decode(void *state, uint8_t *out, uint32_t len);

/** Skips the rest of the input: what is decoded already is still handed out, then the stream ends. */
void ff_lzw_decode_tail(void *state);

/** Frees a decoder and sets the handle to NULL. */
void utilLzw_cleanupDecoder(void **state);

VOS_END_DECLS

#endif
