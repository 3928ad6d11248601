/** @file
 *  Files and directory trees. The utilFil_ functions are what daemons call; each forwards to the oalFil_ function of
 *  the operating-system layer with the same suffix and shape.
 *
 *  No state is kept: every function may be called from any thread. A NULL argument gives VOS_RET_BAD_ARG, 0 or
 *  0xFFFFFFFF by the kind of the result.
 */
#ifndef VOS_FIL_H
#define VOS_FIL_H

#include "vos/ret.h"

VOS_BEGIN_DECLS

/** 1 when the path, links followed, leads to something; else 0. */
int utilFil_isFilePresent(const char *path);

/** Size of a file in bytes, the low 32 bits of it; 0xFFFFFFFF when there is none. */
uint32_t utilFil_getSize(const char *path);

/** Reads a whole file.
 *
 *  @param buf      receives the bytes; no terminator is added
 *  @param bufSize  in: bytes of @p buf; out: bytes read, 0 on VOS_RET_ERROR, unchanged on VOS_RET_NO_RESOURCE
 *  @return VOS_RET_OK; VOS_RET_NO_RESOURCE when the file is larger than @p buf, as a missing file seems to be;
 *          VOS_RET_ERROR when it cannot be opened or read at once; VOS_RET_BAD_ARG
 */
VosRet utilFil_copyToBuffer(const char *path, uint8_t *buf, uint32_t *bufSize);

/** Writes a text, without its terminator, to the start of an existing file, at once: an entry of /proc or /sys.
 *
 *  @return VOS_RET_OK; VOS_RET_ERROR when the file cannot be opened or takes less; VOS_RET_BAD_ARG
 */
VosRet utilFil_writeToProc(const char *path, const char *text);

/** Writes a text, without its terminator, to the end of an existing file; results as utilFil_writeToProc(). */
VosRet utilFil_writeToFileEnd(const char *path, const char *text);

/** Makes a file of @p len bytes, with mode 0700 where it is new; results as utilFil_writeToProc(). */
VosRet utilFil_writeBufferToFile(const char *path, const uint8_t *buf, uint32_t len);

/** @name Directory trees
 *  Links inside the tree are entries of it, never followed, also when they change during the walk. Directories are told
 *  by the type that the listing gives; what it gives no type for counts as a file. An entry whose path has more than
 *  1023 characters is reported and left alone. A directory that cannot be opened is passed over.
 *
 *  @return VOS_RET_OK whatever could not be done; VOS_RET_BAD_ARG for NULL
 *  @{ */
VosRet utilFil_removeDir(const char *path);                /**< removes the tree */
VosRet utilFil_chownDir(const char *path, uint32_t owner); /**< gives it to a user, and to group 0 */
/** @} */

/** Makes one directory with mode 0700: VOS_RET_OK, also when the path exists; VOS_RET_ERROR; VOS_RET_BAD_ARG. */
VosRet utilFil_makeDir(const char *path);

/** Size of @p count units in KiB, (count * unitSize + 512) / 1024: to the nearest, halves up. A result that does
 *  not fit becomes the largest or smallest value. */
int64_t utilFil_scaleSizetoKB(int64_t count, int64_t unitSize);

/** @name Operating-system layer
 *  @{ */
/** The worker of the utilFil_ function with the same suffix, and like it in everything. */
int oalFil_isFilePresent(const char *path);
uint32_t oalFil_getSize(const char *path);
VosRet oalFil_copyToBuffer(const char *path, uint8_t *buf, uint32_t *bufSize);
VosRet oalFil_writeToProc(const char *path, const char *text);
VosRet oalFil_writeToFileEnd(const char *path, const char *text);
VosRet oalFil_writeBufferToFile(const char *path, const uint8_t *buf, uint32_t len);
VosRet oalFil_removeDir(const char *path);
VosRet oalFil_chownDir(const char *path, uint32_t owner);
VosRet oalFil_makeDir(const char *path);
/** @} */

VOS_END_DECLS

#endif
