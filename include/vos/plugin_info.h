/** @file
 *  The description file of an operator plug-in, "Info.plugin" one directory above the working directory.
 *
 *  Lines of a key, a colon and a value. A key matches a line that begins with it; the first matching line wins. The
 *  value is what follows the first colon behind the key, without white space around it. The file is read anew at every
 *  call; every function may be called from any thread.
 */
#ifndef VOS_PLUGIN_INFO_H
#define VOS_PLUGIN_INFO_H

#include "vos/ret.h"

VOS_BEGIN_DECLS

/** Reads the "Name" value of the description file at @p path; of a line longer than 127 characters only those count.
 *
 *  @param buf   receives the value, cut to @p size with its terminator; untouched when the key is absent
 *  @return VOS_RET_OK, also when the key is absent; VOS_RET_OPEN_FAILED; VOS_RET_BAD_ARG for NULL
 */
VosRet UTIL_pluginGetInfoName(const char *path, char *buf, uint32_t size);

/** UTIL_pluginGetInfoName() of "../Info.plugin": the name under which a plug-in's process is known. */
VosRet UTIL_pluginGetName(char *buf, uint32_t size);

/** The "ImportInterface" value of "../Info.plugin", from the first 2047 characters of its line; otherwise as
 *  UTIL_pluginGetInfoName(). */
VosRet UTIL_pluginGetImportInterface(char *buf, uint32_t size);

/** 1 when @p line begins with @p key, else 0; 0 for NULL. */
int util_pluginIsField(const char *key, const char *line);

/** The value on a line that begins with @p key; NULL when there is no colon behind the key, for NULL and when memory is
 *  short. The caller frees it with vosMem_free. */
char *util_pluginParseGetVal(const char *key, const char *line);

VOS_END_DECLS

#endif
