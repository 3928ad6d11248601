/** @file
 *  System load: CPU times and memory figures from /proc.
 *
 *  Nothing is kept between calls; every function may be called from any thread.
 */
#ifndef VOS_LOAD_H
#define VOS_LOAD_H

#include "vos/base.h"

/** Snapshot of the first line of /proc/stat, proc(5); times in clock ticks since boot. */
typedef struct {
    char name[24];    /**< "cpu" */
    uint64_t user;    /**< in user mode, guest time included */
    uint64_t nice;    /**< in user mode with low priority */
    uint64_t system;  /**< in the kernel */
    uint64_t idle;    /**< idle */
    uint64_t iowait;  /**< idle, waiting for a disk */
    uint64_t irq;     /**< in interrupts */
    uint64_t softirq; /**< in soft interrupts */
    uint64_t steal;   /**< taken by other guests of a hypervisor */
    uint64_t guest;   /**< running guests */
} UtilCpuOccupy;
VOS_STATIC_ASSERT(sizeof(UtilCpuOccupy) == 96, "daemons share snapshots");
VOS_STATIC_ASSERT(offsetof(UtilCpuOccupy, name) == 0, "daemons share snapshots");
VOS_STATIC_ASSERT(offsetof(UtilCpuOccupy, user) == 24, "daemons share snapshots");
VOS_STATIC_ASSERT(offsetof(UtilCpuOccupy, nice) == 32, "daemons share snapshots");
VOS_STATIC_ASSERT(offsetof(UtilCpuOccupy, system) == 40, "daemons share snapshots");
VOS_STATIC_ASSERT(offsetof(UtilCpuOccupy, idle) == 48, "daemons share snapshots");
VOS_STATIC_ASSERT(offsetof(UtilCpuOccupy, iowait) == 56, "daemons share snapshots");
VOS_STATIC_ASSERT(offsetof(UtilCpuOccupy, irq) == 64, "daemons share snapshots");
VOS_STATIC_ASSERT(offsetof(UtilCpuOccupy, softirq) == 72, "daemons share snapshots");
VOS_STATIC_ASSERT(offsetof(UtilCpuOccupy, steal) == 80, "daemons share snapshots");
VOS_STATIC_ASSERT(offsetof(UtilCpuOccupy, guest) == 88, "daemons share snapshots");

/** One line of /proc/meminfo. */
typedef struct {
    char name[24];  /**< the key, empty when the line was not there */
    uint32_t value; /**< kB */
} UtilMemEntry;
VOS_STATIC_ASSERT(sizeof(UtilMemEntry) == 28, "daemons share snapshots");
VOS_STATIC_ASSERT(offsetof(UtilMemEntry, name) == 0, "daemons share snapshots");
VOS_STATIC_ASSERT(offsetof(UtilMemEntry, value) == 24, "daemons share snapshots");

/** Memory figures of /proc/meminfo. */
typedef struct {
    UtilMemEntry memTotal; /**< "MemTotal" */
    UtilMemEntry memFree;  /**< "MemFree" */
    UtilMemEntry buffers;  /**< "Buffers" */
    UtilMemEntry cached;   /**< "Cached" */
} UtilMemOccupy;
VOS_STATIC_ASSERT(offsetof(UtilMemOccupy, memTotal) == 0, "daemons share snapshots");
VOS_STATIC_ASSERT(offsetof(UtilMemOccupy, memFree) == 28, "daemons share snapshots");
VOS_STATIC_ASSERT(offsetof(UtilMemOccupy, buffers) == 56, "daemons share snapshots");
VOS_STATIC_ASSERT(offsetof(UtilMemOccupy, cached) == 84, "daemons share snapshots");
VOS_STATIC_ASSERT(sizeof(UtilMemOccupy) == 112, "daemons share snapshots");

VOS_BEGIN_DECLS

/** Takes a snapshot of the CPU times.
 *
 *  @return 0, also when the line holds only some of the fields (the others stay as they were); -1 for NULL, when
 *          /proc/stat cannot be opened or begins with an empty line
 */
int UTIL_getCpuOccupy(UtilCpuOccupy *snap);

/** Busy share between two snapshots in percent, cut to a whole number. Steal and guest time count for nothing. 0 when
 *  no time passed and for NULL. Exact for intervals of up to 21 million ticks. */
uint32_t UTIL_calCpuOccupy(const UtilCpuOccupy *older, const UtilCpuOccupy *newer);

/** Reads the four memory figures; entries that /proc/meminfo does not name before its "Cached" line stay zero.
 *
 *  @return 0; -1 for NULL and when /proc/meminfo cannot be opened
 */
int UTIL_getMemOccupy(UtilMemOccupy *mem);

VOS_END_DECLS

#endif
