/** @file
 *  Entity registry: the firmware's daemons with their entity ids, names and access bits.
 *
 *  The table is constant and compiled in. Look-ups go through it in order and take the first row that matches. Rows are
 *  handed out as pointers that stay valid for the life of the process. Every function may be called from any thread but
 *  vosEid_getAppEid(), which belongs to one thread.
 */
#ifndef VOS_EID_H
#define VOS_EID_H

#include "vos/msg_types.h"
#include "vos/ret.h"

/** One row of the table. */
typedef struct {
    VosEntityId eid;    /**< unique; 1 to 65535 */
    const char *name;   /**< process name, unique, at most 63 characters */
    uint16_t accessBit; /**< 0 or one bit of the access masks */
} EntityInfo;
VOS_STATIC_ASSERT(sizeof(EntityInfo) == 24, "callers read rows");
VOS_STATIC_ASSERT(offsetof(EntityInfo, eid) == 0, "callers read rows");
VOS_STATIC_ASSERT(offsetof(EntityInfo, name) == 8, "callers read rows");
VOS_STATIC_ASSERT(offsetof(EntityInfo, accessBit) == 16, "callers read rows");

VOS_BEGIN_DECLS

/** The first row with exactly this access bit; NULL for 0 and when there is none. Of a bit that several rows share only
 *  the first row can be found. */
const EntityInfo *vosEid_getEntityInfoByAccessBit(uint16_t accessBit);

/** The row of a name; NULL when there is none and for NULL. */
const EntityInfo *vosEid_getEntityInfoByStringName(const char *name);

/** Copies an entity's name.
 *
 *  @param buf     receives the name, cut to @p bufLen - 1 characters; the rest is zeroed. Untouched on failure.
 *  @param bufLen  bytes of @p buf
 *  @return VOS_RET_OK; VOS_RET_ERROR for an unknown id; VOS_RET_BAD_ARG for NULL or no room
 */
VosRet vosEid_getAppName(char *buf, uint32_t bufLen, VosEntityId eid);

/** The low 8 bits of an entity's access bit; 0 for an unknown id. */
uint8_t vosEid_getAppAccessBit(VosEntityId eid);

/** The entity id of a name, kept in a cache of this process; 0 for an unknown name, for NULL and when memory is short.
 */
VosEntityId vosEid_getAppEid(const char *name);

/** Names of the entities in an access mask.
 *
 *  @param namesOut  receives a new text: the first name of each bit, lowest bit first, separated by commas; the caller
 *                   frees it with vosMem_free, also after VOS_RET_UNKNOWN_NAME. Untouched on the other failures.
 *  @return VOS_RET_OK; VOS_RET_UNKNOWN_NAME when some bit belongs to nobody, the text holds the others;
 *          VOS_RET_NO_RESOURCE; VOS_RET_BAD_ARG for NULL
 */
VosRet vosEid_getStringNamesFromBitMask(uint16_t mask, char **namesOut);

/** Access mask of a list of names separated by commas. Blanks behind a comma are skipped, those in front of one belong
 *  to the name. A comma at the end is followed by an empty name, which is unknown.
 *
 *  @param names    NULL and the empty text give an empty mask
 *  @param maskOut  receives the access bits of the names that are known
 *  @return VOS_RET_OK; VOS_RET_UNKNOWN_NAME when some name is not in the table; VOS_RET_BAD_ARG for a NULL @p maskOut
 */
VosRet vosEid_getBitMaskFromStringNames(const char *names, uint16_t *maskOut);

/** Has no room for entities added at run time: stores nothing, yet always VOS_RET_OK. */
VosRet vosEid_addDynamicEntityInfo(const char *appName);

/** The counterpart, which never finds one: VOS_RET_NOT_IN_LIST; VOS_RET_BAD_ARG for NULL. */
VosRet vosEid_delDynamicEntityInfo(const char *appName);

/** The process id of the caller. */
int32_t vosEid_getPid(void);

/** Calls @p callback, which must not throw, with every row in order until it returns something other than 0, which is
 *  the result; else 0. NULL gives 0. */
int vosEid_forEachEntityInfo(int (*callback)(const EntityInfo *, void *), void *context);

/** @name Kept for callers that still link them
 *  They have nothing to do with the table.
 *  @{ */
void vosEid_init(void *unused);                          /**< does nothing */
uint32_t vosEid_setServerPort(uint32_t unused);          /**< 0 */
uint32_t vosEid_getNumberOfEntityInfoEntries(void);      /**< 0 */
const EntityInfo *vosEid_getEntityInfo(VosEntityId eid); /**< NULL */
/** The address of the pointer to the name cache, a HashMap; never to be read as a row. */
const EntityInfo *vosEid_getFirstEntityInfo(void);
/** @} */

VOS_END_DECLS

#endif
