/** @file
 *  Best-fit allocator with boundary tags over one contiguous region, usually a shared-memory segment.
 *
 *  The control block (1024 bytes) lies at the start of the region, so that every process that maps the region at the
 *  same address sees one free list and one set of counters. Links are absolute addresses; sizes and links are signed
 *  64-bit words. Nothing here locks: processes serialise themselves. Released pointers are not checked.
 */
#ifndef VOS_POOL_H
#define VOS_POOL_H

#include "vos/base.h"

VOS_BEGIN_DECLS

/** Gives a region to the pool. The first region of a process also receives the control block in its first 1024 bytes;
 *  later ones are added whole. A region too small for control block, one header and the end mark is ignored.
 *
 *  @param buf  start, aligned to 8 bytes
 *  @param len  bytes, rounded down to a multiple of 4
 */
void bpool(void *buf, int64_t len);

/** Takes at least @p size bytes (16 at the least, rounded up to a multiple of 4) from the smallest free block that
 *  holds them; the first of equals. NULL when no block does. Released with brel. */
void *bget(int64_t size);

/** Gives back a buffer of bget and joins it with free neighbours; NULL does nothing. */
void brel(void *buf);

/** Figures of the pool, 16-byte block headers included; all 0 without a pool. NULL outputs are skipped.
 *
 *  @param curalloc  bytes taken
 *  @param totfree   bytes free
 *  @param maxfree   largest free block, -1 when there is none
 *  @param nget      successful bget calls of all processes
 *  @param nrel      brel calls of all processes
 */
void bstats(int64_t *curalloc, int64_t *totfree, int64_t *maxfree, int64_t *nget, int64_t *nrel);

/** Prints every block from the first block header @p pool (1024 bytes behind the region's start) to the end mark.
 *
 *  @param dumpalloc  non-zero: dump the contents of taken blocks too
 *  @param dumpfree   non-zero: dump the contents of free blocks too
 */
void bpoold(void *pool, int dumpalloc, int dumpfree);

/** Walks the blocks as bpoold does and checks them: 1 when sound, 0 for a block of size 0 or broken free-list links. */
int bpoolv(void *pool);

/** Prints the contents of one buffer of bget, 16 bytes a line, repeated lines folded. */
void bufdump(void *buf);

/** Joins the pool whose control block another process created at @p control. */
void zeta_secondary_bpool(void *control);

/** Forgets the pool in this process; the region is not touched. */
void zeta_cleanup_bpool(void);

VOS_END_DECLS

#endif
