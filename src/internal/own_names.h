// What the library calls inside instead of its own exported names that carry no prefix of ours: in a program that is
// linked with libvos.a and has a parseArgs or a hashmap_create itself, those names are the program's.
#pragma once

#include "vos/hashmap.h"
#include "vos/list.h"
#include "vos/prctl.h"
#include "vos/xml.h"

/** In front of such an exported function: a program's own takes its place instead of clashing with it. */
#define VOS_OPEN_NAME __attribute__((weak))

namespace vos::own {

VosRet parseArgs(const char *exe, const char *args, char ***argvOut);
void freeArgs(char **argv);
int32_t runCommandInShell(const char *command);
int netns_switch(const char *name);

VosRet hashmap_create(HashMap **mapOut, uint32_t bucketCount);
VosRet hashmap_insert(HashMap *map, const char *key, int32_t keyLen, void *value);
void *hashmap_search(const HashMap *map, const char *key);
ListEntry *list_create_entry(void *data);

void bpool(void *buf, int64_t len);
void *bget(int64_t size);
void brel(void *buf);
void bstats(int64_t *curalloc, int64_t *totfree, int64_t *maxfree, int64_t *nget, int64_t *nrel);
void bufdump(void *buf);
void zeta_secondary_bpool(void *control);
void zeta_cleanup_bpool();

int xmlOpen(XmlContext **ctx, const XmlCallbacks *callbacks);
int xmlWrite(XmlContext *ctx, const char *data, uint32_t len, const char **stop);
void xmlClose(XmlContext *ctx);
void xmlTagBegin(XmlContext *ctx, const char *name, uint32_t len);
void xmlAttr(XmlContext *ctx, const char *name, uint32_t len);
void xmlValue(XmlContext *ctx, const char *text, uint32_t len, int partial);
void xmlData(XmlContext *ctx, const char *text, uint32_t len, int partial);
void xmlTagEnd(XmlContext *ctx, const char *name, uint32_t len);

int32_t uitl_charToHex(char c);
char *String_Copy(const char *text, int32_t len);
char *EncodeToUTF8(const char *gb);

}  // namespace vos::own
