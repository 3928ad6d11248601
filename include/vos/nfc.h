/** @file
 *  Contents of the gateway's NFC tag: NFC Forum Type 4 Tag application data, a message length and one short NDEF
 *  record, either a Wi-Fi credential (MIME type "application/vnd.wfa.wsc", Wi-Fi Simple Configuration attributes) or a
 *  URI (NFC Forum URI record type definition).
 *
 *  The message length and the Wi-Fi attributes carry their 16-bit values in the machine's own byte order, unlike the
 *  published encodings; readers of these tags rely on it. Every function may be called from any thread.
 */
#ifndef VOS_NFC_H
#define VOS_NFC_H

#include "vos/base.h"

VOS_BEGIN_DECLS

/** What every buffer begins with: application, capability container and NDEF file identifiers. */
extern VOS_DATA const uint8_t g_ndefAppDataHead[26];

/** Builds the tag's contents for a Wi-Fi credential.
 *
 *  The record is a short one: a payload of 256 bytes or more is cut to its length modulo 256. No text is checked.
 *
 *  @param ssid        network name; NULL counts as empty, here and below
 *  @param auth        "psk2", "wpa2", "shared", "open", "psk" or "wpa"; any other text leaves the attribute's two value
 *                     bytes out, so that the rest moves up and two zero bytes end the payload
 *  @param encryption  "aes", "tkip" or "wep"; any other text means none
 *  @param key         network key
 *  @param bufferOut   receives the buffer, freed by the caller with vosMem_free; NULL when memory is short
 *  @param lengthOut   receives its bytes: 54 + (payload length modulo 256); 0 when memory is short
 */
void UTIL_nfcGenWifiNdefData(const char *ssid, const char *auth, const char *encryption, const char *key,
                             uint8_t **bufferOut, uint32_t *lengthOut);

/** Builds the tag's contents for a web address, unabbreviated and at most 511 characters long.
 *
 *  @param url        NULL counts as empty
 *  @param bufferOut  receives the buffer, freed by the caller with vosMem_free; NULL when memory is short
 *  @param lengthOut  receives its bytes: address length + 33. The record's own length byte is modulo 256.
 */
void UTIL_nfcGenUrlNdefData(const char *url, uint8_t **bufferOut, uint32_t *lengthOut);

/** Payload length of a Wi-Fi record: both lengths + 34. */
int util_nfcGetWifiPayloadLen(const char *ssid, const char *key);

/** Reads type and payload of a record with a type of one character. For a longer type the payload still begins at
 *  offset 32.
 *
 *  @param buffer      at least 32 bytes and as many as its two length bytes (offsets 29 and 30) say
 *  @param payloadOut  room for 255 bytes
 *  @param payloadLen  receives the payload's bytes
 *  @param typeLen     receives the type's characters
 *  @param typeOut     room for 256 bytes; terminated
 */
void UTIL_nfcGetNdefPayload(const uint8_t *buffer, uint8_t *payloadOut, uint32_t *payloadLen, uint32_t *typeLen,
                            char *typeOut);

/** The address 44 bytes into the buffer; also stored through @p out unless that is NULL. NULL for NULL. */
const uint8_t *UTIL_nfcGetTextNdefData(const uint8_t *buffer, const uint8_t **out);

/** Prints a buffer's length, record header, type and payload to standard output.
 *
 *  @param length  bytes behind the head: the buffer has 26 + @p length bytes, at least 32 in all
 */
void UTIL_nfcPrintNdefData(const uint8_t *buffer, uint32_t length);

VOS_END_DECLS

#endif
