/** @file
 *  IP addresses as text: validation, prefixes, interface identifiers and lists of DNS servers.
 *
 *  IPv6 texts are those of RFC 4291 as inet_pton reads and inet_ntop writes them (RFC 5952), with "/LENGTH" behind them
 *  where said. No state is kept: every function may be called from any thread. A NULL pointer gives VOS_RET_BAD_ARG or
 *  false unless said otherwise; outputs written before a failure stay written.
 */
#ifndef VOS_ADDR_H
#define VOS_ADDR_H

#include "vos/ret.h"

/** Families for util_isZeroIpvxAddress(). */
enum {
    VOS_ADDR_IPV4 = 1, /**< the all-zero IPv4 text counts */
    VOS_ADDR_IPV6 = 2  /**< the all-zero IPv6 texts count */
};

/** Room for any IPv6 text with its terminator. */
#define VOS_ADDR_TEXT_SIZE 46

VOS_BEGIN_DECLS

/** Whether @p str is four decimal numbers up to 255 between dots, 7 to 15 characters in all. Runs of dots count as one
 *  and dots at either end are ignored; a number may follow white space or a '+'. */
bool util_isValidIpv4Address(const char *str);

/** Stores the four numbers of an IPv4 text; true once the fourth is stored, whatever follows it.
 *
 *  @param octets  receives 4 bytes; those in front of a bad or missing number are written on failure too
 */
bool util_ipStrToOctets(const char *str, uint8_t *octets);

/** Whether @p str is an address of @p family: AF_INET as util_isValidIpv4Address(), AF_INET6 with or without a prefix
 *  length. False for NULL, an empty text and any other family. */
bool util_isValidIpAddress(int32_t family, const char *str);

/** Splits "ADDRESS/LENGTH". The address text is not looked at.
 *
 *  @param addr     receives the text in front of the slash, cut to @p addrLen bytes with its terminator
 *  @param plen     receives the prefix length, 128 where there is none
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for an address of 40 characters or more or a length above 128, with @p addr
 *          empty; VOS_RET_ERROR when memory is short
 */
VosRet util_parsePrefixAddress(const char *prefixAddr, char *addr, uint32_t addrLen, uint32_t *plen);

/** Clears the bits of an IPv6 address behind its prefix.
 *
 *  A length that is no multiple of 16 is applied to the two bytes of its group in exchanged order:
 *  2001:db8:abcd:1234:: with 52 gives 2001:db8:abcd:30::.
 *
 *  @param plen  0 to 128; with 128 the text is copied as it stands
 *  @param out   at least VOS_ADDR_TEXT_SIZE bytes
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for a longer length or no IPv6 address; VOS_RET_ERROR
 */
VosRet util_getAddrPrefix(const char *addr, uint32_t plen, char *out);

/** Gives an IPv6 address the interface identifier (last 8 bytes) of another.
 *
 *  @param src  where the identifier is taken from
 *  @param dst  rewritten in place; at least 40 bytes
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for no IPv6 address; VOS_RET_ERROR
 */
VosRet util_replaceEui64(const char *src, char *dst);

/** Writes an IPv6 address, with or without a prefix length, in its canonical form.
 *
 *  @param out     at least 40 bytes; holds "ADDRESS" or "ADDRESS/LENGTH"
 *  @param outLen  its bytes; a length that does not fit is cut
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for no IPv6 address; VOS_RET_NO_RESOURCE when the address itself does not fit
 */
VosRet util_standardizeIp6Addr(const char *in, char *out, uint32_t outLen);

/** Whether an IPv6 text, with or without a prefix length, lies in 2000::/3 (global unicast) or fc00::/7 (unique local,
 *  RFC 4193). */
bool util_isGUAorULA(const char *addr);

/** Whether @p str is NULL, empty or one of the all-zero texts of the families in @p familyFlags: "0.0.0.0";
 *  "0:0:0:0:0:0:0:0", "::", "::/128", "::/0". Texts are compared, not parsed. */
bool util_isZeroIpvxAddress(uint32_t familyFlags, const char *str);

/** Takes the first two servers out of a comma-separated list; further ones are ignored.
 *
 *  @param primary    may be NULL; receives the text before the first comma when it is a valid address
 *  @param pLen       its bytes
 *  @param secondary  may be NULL; receives the text behind the first comma, leading white space skipped, likewise
 *  @param sLen       its bytes
 *  @param isIPv4     non-zero: IPv4, and what is not found reads "0.0.0.0"; 0: IPv6, and it stays untouched
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for a NULL list; VOS_RET_ERROR when memory is short
 */
VosRet util_parseDNS(const char *servers, char *primary, uint32_t pLen, char *secondary, uint32_t sLen, uint8_t isIPv4);

/** Joins two servers with a comma. NULL and empty servers are left out, and so is an all-zero @p dns2 behind a
 *  @p dns1; without a @p dns1 an all-zero @p dns2 is kept.
 *
 *  @param list    receives the list; empty when nothing fits
 *  @param bufLen  its bytes
 *  @return VOS_RET_OK; VOS_RET_NO_RESOURCE when a server does not fit (the other one may be there)
 */
VosRet util_concatDNS(const char *dns1, const char *dns2, char *list, int32_t bufLen);

VOS_END_DECLS

#endif
