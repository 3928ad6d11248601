/** @file
 *  One DNS question over UDP to a given server (RFC 1035, RFC 3596), without cache, retry or TCP.
 *
 *  A query blocks for 2 seconds at most and takes the first datagram that arrives as its answer. Calls share nothing
 *  and may run in any thread. Replies are hostile: nothing outside the 512-byte message is read, and compression
 *  pointers end after 64 jumps.
 */
#ifndef VOS_DNS_H
#define VOS_DNS_H

#include "vos/ret.h"

/** Bytes of a message buffer; see util_dnsDecodeResponse(). */
#define VOS_DNS_MESSAGE_SIZE 512
/** Bytes of a decoded name, terminator included. */
#define VOS_DNS_NAME_SIZE 256

/** Record types. */
enum {
    VOS_DNS_TYPE_A = 1,    /**< IPv4 address */
    VOS_DNS_TYPE_PTR = 12, /**< name of an address */
    VOS_DNS_TYPE_AAAA = 28 /**< IPv6 address */
};

/** A decoded question (name, type and class only) or resource record. */
typedef struct {
    char name[VOS_DNS_NAME_SIZE]; /**< dotted text; of type PTR "d.c.b.a.in-addr.arpa" reads "a.b.c.d" */
    uint16_t type;                /**< record type */
    uint16_t rrClass;             /**< record class, 1 for the Internet */
    uint32_t ttl;                 /**< seconds */
    uint16_t rdLength;            /**< bytes of data in the message */
    uint8_t rdata[256];           /**< the first 256 of them */
} DnsResourceRecord;
VOS_STATIC_ASSERT(offsetof(DnsResourceRecord, name) == 0, "fields stand in this order");
VOS_STATIC_ASSERT(offsetof(DnsResourceRecord, type) == 256, "fields stand in this order");
VOS_STATIC_ASSERT(offsetof(DnsResourceRecord, rrClass) == 258, "fields stand in this order");
VOS_STATIC_ASSERT(offsetof(DnsResourceRecord, ttl) == 260, "fields stand in this order");
VOS_STATIC_ASSERT(offsetof(DnsResourceRecord, rdLength) == 264, "fields stand in this order");
VOS_STATIC_ASSERT(offsetof(DnsResourceRecord, rdata) == 266, "fields stand in this order");
VOS_STATIC_ASSERT(sizeof(DnsResourceRecord) == 524, "fields stand in this order");

VOS_BEGIN_DECLS

/** Asks an IPv4 server for the IPv4 addresses of a host.
 *
 *  @param hostName   labels between dots, no dot at the end
 *  @param ifName     interface to send from (needs CAP_NET_RAW); NULL or empty: as routed
 *  @param dnsIp      the server, dotted
 *  @param hostIp     holds an empty text; every address found is appended with a tab behind it
 *  @param hostIpLen  its bytes
 *  @return VOS_RET_OK when an address was found; VOS_RET_BAD_ARG for a NULL argument or no room; else VOS_RET_ERROR,
 *          and @p hostIp may hold what was decoded
 */
VosRet UTIL_dnsDoQuery(const char *hostName, const char *ifName, const char *dnsIp, char *hostIp, uint32_t hostIpLen);

/** UTIL_dnsDoQuery() of an IPv6 server.
 *
 *  @param queryType  1: ask for IPv6 addresses; anything else: for IPv4 addresses
 */
VosRet UTIL_dnsDoIpv6Query(const char *hostName, const char *ifName, const char *dnsIp, char *hostIp,
                           uint32_t hostIpLen, uint8_t queryType);

/** Appends the addresses of a received message's first five answers that have the first question's type, each with a
 *  tab behind it. For a PTR question the answer's name, or without one the question's, replaces the text.
 *
 *  With more than five questions the answers are looked for behind the fifth. A record that runs past the message
 *  ends the decoding; what was decoded before it is used.
 *
 *  @param message    VOS_DNS_MESSAGE_SIZE bytes, zero behind what was received
 *  @param hostIp     holds a text
 *  @param hostIpLen  its bytes
 */
void util_dnsDecodeResponse(const uint8_t *message, char *hostIp, uint32_t hostIpLen);

/** Decodes the question (@p isQuestion non-zero) or record at *@p cursor, which moves behind it.
 *
 *  @param messageStart  the message, VOS_DNS_MESSAGE_SIZE bytes
 *  @param record        filled in; type 0 when the record runs past the message, with the cursor at the message's end
 */
void util_dnsDecodeRR(DnsResourceRecord *record, const uint8_t **cursor, int isQuestion, const uint8_t *messageStart);

/** Decodes the name at *@p cursor, which moves behind it. Only the low byte of a compression pointer counts.
 *
 *  @param out           VOS_DNS_NAME_SIZE bytes
 *  @param messageStart  the message, VOS_DNS_MESSAGE_SIZE bytes
 *  @return characters stored, terminator included; -1 with an empty text and the cursor at the message's end when the
 *          name runs past the message, is longer than 255 characters or jumps more than 64 times
 */
int util_dnsDecodeName(char *out, const uint8_t **cursor, const uint8_t *messageStart);

VOS_END_DECLS

#endif
