// The part of base64 that every codec shares: whole groups of three bytes and four characters.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vos::base64 {

constexpr char kCharacters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr uint8_t kInvalid = 255;
constexpr char kPad = '=';

/** The six bits of a character; kInvalid outside the alphabet. */
uint8_t valueOf(char character);

/** Encodes with padding; gives the end of the text, which is not terminated. */
char *encode(const uint8_t *in, size_t size, char *out);

/** Decodes from the front as long as whole groups hold characters of the alphabet only.
 *
 *  @param out  room for three bytes for every four of `size`
 *  @return characters decoded, a multiple of four
 */
size_t decodeGroups(const char *text, size_t size, uint8_t *out);

/** @name Many groups at once
 *  As much of the front as the processor's vector instructions are good for, none without them. Same results, same room
 *  as the two above.
 *  @{ */
size_t encodeBlocks(const uint8_t *in, size_t size, char *out);   /**< bytes encoded, a multiple of three */
size_t decodeBlocks(const char *text, size_t size, uint8_t *out); /**< characters decoded, a multiple of four */
/** @} */

}  // namespace vos::base64
