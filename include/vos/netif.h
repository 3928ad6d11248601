/** @file
 *  Questions to the kernel about network interfaces, neighbours and the LAN bridge "br0", and comparisons of IPv6
 *  addresses.
 *
 *  Nothing is kept between calls; every call opens and closes what it needs, and any thread may call. Texts are
 *  terminated and cut to the buffer. A NULL output or a size of 0 writes nothing and gives the function's failure
 *  result. Mind the three conventions of success.
 */
#ifndef VOS_NETIF_H
#define VOS_NETIF_H

#include "vos/ret.h"

/** Room for an address of oal_getIfAddr6() with its terminator. */
#define VOS_IF_ADDR6_SIZE 40

/** Scopes of IPv6 addresses as the kernel numbers them. */
enum {
    VOS_IF_SCOPE_GLOBAL = 0x00,    /**< global unicast */
    VOS_IF_SCOPE_LINK_LOCAL = 0x20 /**< link-local */
};

VOS_BEGIN_DECLS

/** @name IPv4 of an interface: 1 and the dotted text in @p buf, 0 on any failure
 *  @{ */
int UTIL_getIfAddr(const char *ifName, char *buf, uint32_t size);   /**< address */
int UTIL_getIfMask(const char *ifName, char *buf, uint32_t size);   /**< mask */
int UTIL_getIfSubnet(const char *ifName, char *buf, uint32_t size); /**< network: address and mask */
/** @} */

/** Writes the mask of a prefix length, lowest byte first: 24 gives "0.255.255.255", 0 and 32 give "255.255.255.255".
 *  Always 0. */
int UTIL_subnetLenToSubnetMask(uint32_t len, char *buf, uint32_t size);

/** 1 when the interface exists, else 0. */
int UTIL_isInterfaceExisted(const char *ifName);

/** Sets an interface up (non-zero) or down; needs CAP_NET_ADMIN.
 *
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for a NULL name; VOS_RET_ERROR
 */
VosRet UTIL_setIfState(const char *ifName, uint8_t up);

/** Whether an interface is up. A name with a ':' is an alias and must have an IPv4 address.
 *
 *  @param isUp  receives 1 or 0
 *  @return VOS_RET_OK, also for an interface that does not exist; VOS_RET_ERROR for a NULL argument, an alias without
 *          an address, or no socket
 */
VosRet UTIL_checkInterfaceUp(const char *ifName, uint8_t *isUp);

/** Reads the hardware address.
 *
 *  @param mac6  receives 6 bytes on success
 *  @return 0 on success, 255 when the kernel knows none; 0 for NULL arguments and without a socket too, with @p mac6
 *          untouched
 */
int UTIL_getIfMacAddr(const char *ifName, uint8_t *mac6);

/** 1 when an IPv4 text lies in br0's subnet, else 0; 0 for IPv6. The alias br0:0 does not widen the answer. */
int UTIL_isAddressOnLanSide(const char *ipText);

/** Finds the bridge port behind a MAC address in br0's forwarding table.
 *
 *  @param macText    "aa:bb:cc:dd:ee:ff", any case
 *  @param ifNameOut  receives the port's name; without a match "br0" if it holds an empty text on entry
 *  @return 0
 */
int UTIL_getLanInterFace(const char *macText, char *ifNameOut, uint32_t size);

/** Finds a neighbour's hardware address in the ARP table: 0 and its text in @p macOut, -1 when it is not there. */
int UTIL_getMacAddrFromArpByIp(const char *ipText, char *macOut, uint32_t size);

/** Gives one IPv6 address of an interface, counted from 0 in the kernel's order.
 *
 *  @param addrOut    VOS_IF_ADDR6_SIZE bytes; eight groups of four digits, not shortened; empty without an address
 *  @param ifIndex    receives the interface's index
 *  @param prefixLen  receives the prefix length
 *  @param scope      receives VOS_IF_SCOPE_…
 *  @param flags      receives the kernel's address flags
 *  @return VOS_RET_OK; VOS_RET_NOTHING_FOUND behind the last address; VOS_RET_ERROR for a NULL argument, an unreadable
 *          or malformed table
 */
VosRet oal_getIfAddr6(const char *ifName, uint32_t index, char *addrOut, uint32_t *ifIndex, uint32_t *prefixLen,
                      uint32_t *scope, uint32_t *flags);
/** oal_getIfAddr6(). */
VosRet UTIL_getIfAddr6(const char *ifName, uint32_t index, char *addrOut, uint32_t *ifIndex, uint32_t *prefixLen,
                       uint32_t *scope, uint32_t *flags);

/** Gives the first link-local address of an interface.
 *
 *  @param addrOut    VOS_IF_ADDR6_SIZE bytes; empty without a match
 *  @param prefixLen  receives the prefix length of the last address looked at
 *  @return VOS_RET_OK; VOS_RET_NOTHING_FOUND
 */
VosRet UTIL_getLinkLocalIfAddr6(const char *ifName, char *addrOut, uint32_t *prefixLen);
/** UTIL_getLinkLocalIfAddr6() for the first global address. */
VosRet UTIL_getGloballyUniqueIfAddr6(const char *ifName, char *addrOut, uint32_t *prefixLen);

/** 1 when two IPv6 texts, with or without prefix lengths, mean the same address and length, else 0. Two NULL or empty
 *  texts are equal. */
uint8_t UTIL_areIpv6AddrEqual(const char *a, const char *b);

/** 1 when an IPv6 address lies below a prefix, else 0. Two NULL or empty texts agree.
 *
 *  @param host    without a prefix length
 *  @param prefix  "ADDRESS/LENGTH" with at most 31 characters of address; lengths that are no multiples of 16 keep
 *                 the bits of util_getAddrPrefix()
 */
uint8_t UTIL_isHostInSameSubnet(const char *host, const char *prefix);

VOS_END_DECLS

#endif
