/** @file
 *  Text: bounded copies and formatting, comparison, numbers, hexadecimal, MAC addresses, ATM PVC designators, URLs,
 *  option lists and run-time paths.
 *
 *  No state is kept: every function may be called from any thread, and no parser changes the caller's text. Texts end
 *  in NUL. Results that are new allocations are freed by the caller with vosMem_free.
 */
#ifndef VOS_TEXT_H
#define VOS_TEXT_H

#include "vos/ret.h"

VOS_BEGIN_DECLS

/** @name Bounded copies and formatting
 *  @p func and @p line are the caller's name and line, printed in diagnostics.
 *  @{ */

/** Copies @p src into @p dest of @p dlen bytes, cut to dlen - 1 characters; what is left of @p dest is zeroed. Nothing
 *  is written for NULL or a @p dlen below 1. Returns @p dest. */
char *util_strncpy(const char *func, uint32_t line, char *dest, const char *src, int32_t dlen);

/** Appends @p src to the text in @p dest of @p dlen bytes, cut to what fits. Nothing is written for NULL, for a @p dlen
 *  below 1 and when @p dest holds no terminator in its @p dlen bytes. Returns @p dest. */
char *util_strncat(const char *func, uint32_t line, char *dest, const char *src, int32_t dlen);

/** snprintf; the untruncated length. 0 for a NULL buffer or format. */
int util_snprintf(const char *func, uint32_t line, char *buf, uint32_t size, const char *format, ...) VOS_PRINTF(5, 6);

/** Formats into a new allocation: its length; 0 with *@p out NULL for a NULL format, a formatting error and when memory
 *  is short. */
int util_sprintf_alloc(const char *func, uint32_t line, char **out, const char *format, ...) VOS_PRINTF(4, 5);

/** @} */

/** @name The standard string functions with NULL read as the empty text
 *  @{ */
/** As its namesake in <string.h>, of which only NULL is new. */
uint32_t util_strlen(const char *s);
int util_strcmp(const char *a, const char *b);
int util_strcasecmp(const char *a, const char *b);
int util_strncmp(const char *a, const char *b, uint32_t n);
int util_strncasecmp(const char *a, const char *b, uint32_t n);
char *util_strstr(const char *haystack, const char *needle);
char *util_strcasestr(const char *haystack, const char *needle);
/** @} */

/** Compares without regard to case: 0 for two NULLs, -1 for a NULL @p a, 1 for a NULL @p b; else the difference of the
 *  first differing lower-case bytes, -1 or 1 where one text ends first. */
int safe_strcmpIgnoreCase(const char *a, const char *b);

/** safe_strcmpIgnoreCase() of the first @p n bytes; 0 for an @p n below 1. */
int safe_strncmpIgnoreCase(const char *a, const char *b, int32_t n);

void util_strToUpper(char *s); /**< upper case in place, C locale bytes; NULL does nothing */
void util_strToLower(char *s); /**< lower case in place, C locale bytes; NULL does nothing */

/** A lower-case copy; NULL for NULL and when memory is short. */
char *util_strDupLower(const char *s);

/** Upper case of 'b' to 'y' only, in place: 'a' and 'z' stay. Stops after 256 characters. */
void UTIL_str2Upper(char *s);

void util_strTrimL(char *s); /**< removes white space (isspace(3) of the C locale) from the front; NULL does nothing */
void util_strTrimR(char *s); /**< removes white space from the end; NULL does nothing */
void util_strTrim(char *s);  /**< removes white space from both ends; NULL does nothing */

/** 1 when every byte is a decimal digit, also for the empty text; else 0, also for NULL. */
int util_strIsInt(const char *s);

/** Writes the empty text to @p buf; VOS_RET_OK, VOS_RET_BAD_ARG for NULL. */
VosRet util_getBaseDir(char *buf);

/** @name Numbers
 *  @{ */

/** Reads a number; oal_ is the layer below, 64 and u tell the width and sign of the result.
 *
 *  The whole text must be a number as strtol(3) reads it in @p base, and no error may occur; the empty text is 0.
 *  A value that does not fit the result fails.
 *
 *  @param endp    may be NULL; receives where reading stopped
 *  @param result  the number; 0 on failure, but untouched by util_strtoul() and oal_strtoul() for a NULL text
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for a text that is no number, for NULL and, for the unsigned forms, for a minus
 *          sign; util_strtoul() and oal_strtoul() give VOS_RET_BAD_VALUE for a NULL text
 */
VosRet util_strtol(const char *str, char **endp, int32_t base, int32_t *result);
VosRet util_strtol64(const char *str, char **endp, int32_t base, int64_t *result);
VosRet util_strtoul(const char *str, char **endp, int32_t base, uint32_t *result);
VosRet util_strtoul64(const char *str, char **endp, int32_t base, uint64_t *result);
VosRet oal_strtol(const char *str, char **endp, int32_t base, int32_t *result);
VosRet oal_strtol64(const char *str, char **endp, int32_t base, int64_t *result);
VosRet oal_strtoul(const char *str, char **endp, int32_t base, uint32_t *result);
VosRet oal_strtoul64(const char *str, char **endp, int32_t base, uint64_t *result);
/** @} */

/** Whether the text is a number from 0 to 65535; the empty text counts as 0. */
bool util_isValidPortNumber(const char *s);

/** Value of a hexadecimal digit, -1 for any other character. */
int32_t uitl_charToHex(char c);

/** Converts pairs of hexadecimal digits to bytes until @p outLen bytes are written. Characters are not checked.
 *
 *  @return 0; -1 for NULL and for an odd number of characters
 */
int32_t uitl_strToHex(const char *str, uint8_t *out, uint32_t outLen);

/** Copies a text with & " > < ' replaced by XML entities, cut to the @p n bytes of @p out with their terminator.
 *
 *  @return 0; -1 for NULL
 */
int32_t util_xmlSpecialCharConvert(const char *in, char *out, uint32_t n);

/** Whether vpi is below 256, negative or not, and vci in 32..65535 (ITU-T I.361 keeps the lower ones). */
bool util_isValidVpiVci(int32_t vpi, int32_t vci);

/** Reads "PVC:vpi/vci", an optional blank behind the colon; of a text longer than 255 characters only those count.
 *
 *  @param vpi,vci  -1 unless the text could be split
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for NULL or a missing '/'; VOS_RET_BAD_VALUE for "SVC:", for a text without
 *          "PVC:" and for an invalid pair
 */
VosRet util_atmVpiVciStrToNum(const char *str, int32_t *vpi, int32_t *vci);

/** Writes "PVC: vpi/vci", cut to @p len bytes: VOS_RET_OK; VOS_RET_BAD_ARG for NULL; VOS_RET_BAD_VALUE. */
VosRet util_atmVpiVciNumToStr(int32_t vpi, int32_t vci, char *buf, uint32_t len);

/** Whether the text is a MAC address: six groups of two hexadecimal digits, separated by ':' or all by '-'. */
bool util_isValidMacAddress(const char *s);

/** Reads a MAC address into 6 bytes. Only ':' separates: an address with '-' passes util_isValidMacAddress() and
 *  converts wrongly here.
 *
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for NULL; VOS_RET_BAD_VALUE; VOS_RET_NO_RESOURCE
 */
VosRet util_macStrToNum(const char *str, uint8_t *mac);

/** Writes 6 bytes as "xx:xx:xx:xx:xx:xx", cut to @p len bytes: VOS_RET_OK; VOS_RET_BAD_ARG for NULL. */
VosRet util_macNumToStr(const uint8_t *mac, char *buf, uint32_t len);

/** Adds @p n to the last three bytes of a MAC address, modulo 2^24; the first three never change. VOS_RET_OK;
 *  VOS_RET_BAD_ARG for NULL. */
VosRet util_increaseMacValue(uint8_t *mac, uint32_t n);

/** Schemes of util_parseUrl(). */
enum { UTIL_URL_HTTP = 0, UTIL_URL_HTTPS = 1, UTIL_URL_FTP = 2, UTIL_URL_TFTP = 3 };

/** Takes a URL "scheme://host[:port][/path]" apart; the host may be an IPv6 literal in brackets (RFC 3986).
 *
 *  A scheme of more than 16 characters ends the process (abort).
 *
 *  @param proto  receives UTIL_URL_…
 *  @param host   receives a new allocation, without brackets; NULL on failure
 *  @param port   receives the port modulo 65536, 0 where the URL names none
 *  @param path   receives a new allocation, "/" where the URL names none; NULL on failure
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for NULL, a malformed URL, a host or path of 1024 characters or more and a port
 *          of 16 digits or more; VOS_RET_NO_RESOURCE
 */
VosRet util_parseUrl(const char *url, uint32_t *proto, char **host, uint16_t *port, char **path);

/** PPP authentication by name: "AUTO_AUTH" 0, "PAP" 1, "CHAP" 2, "MS-CHAP" 3; 0 for anything else. */
uint32_t util_pppAuthToNum(const char *name);

/** Whether @p subOption is one whole item of a list separated by blanks and commas; false for NULL. */
bool util_isSubOptionPresent(const char *fullOptionString, const char *subOption);

/** Writes the run-time root directory, "/": VOS_RET_OK; VOS_RET_NO_RESOURCE when @p buf is too small; VOS_RET_BAD_ARG.
 */
VosRet util_getRunTimeRootDir(char *buf, uint32_t len);

/** Writes the run-time path of @p target, which is @p target itself below "/": VOS_RET_OK; VOS_RET_NO_RESOURCE when
 *  @p buf is too small; VOS_RET_BAD_ARG. */
VosRet util_getRunTimePath(const char *target, char *buf, uint32_t len);

VOS_END_DECLS

#endif
