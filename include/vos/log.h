/** @file
 *  The daemon log, and redirection of the standard descriptors to a terminal.
 *
 *  A process opens its log with vosLog_init() and writes entries with the VOS_LOG_ macros. Every entry goes to the
 *  process's own file, VOS_LOG_DIRECTORY "<entity id>.log", and to one selectable destination. Level, destination and
 *  the size at which the file is rotated stand in a System V shared-memory segment that is named after the process, so
 *  that a tool can change them while the daemon runs. Every init sets them to their defaults again.
 *
 *  Logging never fails towards its caller. What goes wrong in vosLog_init(), vosLog_show() and vosLog_clear() is
 *  printed to standard output, never logged; everything else is dropped silently. Entries are cut to
 *  VOS_LOG_ENTRY_SIZE - 1 bytes.
 *
 *  Nothing here takes a lock of its own. Entries may be written by any thread once vosLog_init() has returned; init,
 *  cleanup and the redirections belong to one thread at a time. The ring of call sites is meant for one process for
 *  each name: threads that log at once may overwrite each other's slots, never anything else.
 *
 *  The segment is open to every user (mode 0666), and whoever may write to it can run commands as the daemon: he
 *  chooses destination VOS_LOG_DEST_CONSOLE, whose shell runs what stands in the next entry. A library built with
 *  -DVOS_WITH_CONSOLE_LOG=OFF writes the file only there. Nothing else that is written into the segment does more than
 *  silence the log, fill it or send it elsewhere.
 *
 *  Key file, log file and older generation lie where others may put something first. They are opened and made without
 *  following a link, without waiting for a pipe's other end, and only as regular files; a log file with a second name
 *  is refused too. What is refused counts as a file that cannot be opened.
 */
#ifndef VOS_LOG_H
#define VOS_LOG_H

#include "vos/msg_types.h"
#include "vos/ret.h"

#define VOS_LOG_KEY_FILE "/tmp/logKey%s" /**< empty file whose ftok(path, VOS_LOG_KEY_ID) is the segment's key */
#define VOS_LOG_KEY_ID 'a'               /**< second argument of ftok(3) */
#define VOS_LOG_DIRECTORY "/tmp/log3/"   /**< holds "%u.log" and the generation before it, "%u.log.0" */
#define VOS_LOG_LAST_PTY "/tmp/last_pty" /**< link to the terminal of the last login */
#define VOS_LOG_TTY "/dev/ttyp1"         /**< what VOS_LOG_DEST_TTY writes to */
#define VOS_LOG_DEFAULT_MAX_SIZE 32768   /**< bytes at which the file is rotated after vosLog_init() */
#define VOS_LOG_ENTRY_SIZE 10240         /**< longest entry with colours and terminator */

/** Levels; a larger number says more. An entry is written when its level is at most the configured one. Levels without
 *  a name here count as the word "invalid". */
typedef enum {
    VOS_LOG_LEVEL_NONE = 1,   /**< as the configured level: log_log() does nothing at all */
    VOS_LOG_LEVEL_RAW = 2,    /**< the bare message: no colour, header or added line feed */
    VOS_LOG_LEVEL_ERROR = 3,  /**< bold red, LOG_ERR of syslog */
    VOS_LOG_LEVEL_NOTICE = 5, /**< bold green, LOG_NOTICE */
    VOS_LOG_LEVEL_DEBUG = 7,  /**< yellow, LOG_DEBUG */
    VOS_LOG_LEVEL_DEVEL = 9   /**< blue */
} VosLogLevel;

/** Where an entry goes besides the log file; any other value: nowhere. */
typedef enum {
    VOS_LOG_DEST_STDERR = 1,  /**< standard error */
    VOS_LOG_DEST_SYSLOG = 2,  /**< syslog(3), the level number as its priority */
    VOS_LOG_DEST_TTY = 3,     /**< the serial terminal VOS_LOG_TTY */
    VOS_LOG_DEST_ANDROID = 4, /**< Android's system log buffer, where the library is built with it and finds it */
    /** The console, through a shell: "echo [time]text > dev/console" below the working directory. The text is not
     *  quoted, so the shell runs what stands in it; never choose this where messages carry text from outside. Left out
     *  with -DVOS_WITH_CONSOLE_LOG=OFF. */
    VOS_LOG_DEST_CONSOLE = 6
} VosLogDestination;

/** Parts of an entry's header, in this order. */
enum {
    VOS_LOG_HDRMASK_APPNAME = 1,   /**< "name:" of the process, "unknown:" without one */
    VOS_LOG_HDRMASK_LEVEL = 2,     /**< "error:" …, only with destination VOS_LOG_DEST_STDERR */
    VOS_LOG_HDRMASK_TIMESTAMP = 4, /**< "345.678:", seconds of the monotonic clock modulo 1000 and milliseconds */
    VOS_LOG_HDRMASK_LOCATION = 8,  /**< "function:line:" */
    VOS_LOG_HDRMASK_ALL = 15       /**< the default */
};

enum {
    VOS_LOG_CALL_SITES = 32,    /**< slots of the ring */
    VOS_LOG_CALL_SITE_SIZE = 80 /**< bytes of a slot */
};

/** The shared segment. Tools attach it from outside and must trust nothing in it: a text may lack its terminator, an
 *  index may lie outside the ring. */
typedef struct {
    uint32_t level;       /**< configured VosLogLevel */
    uint32_t destination; /**< configured VosLogDestination */
    /** The last call sites, suppressed entries included: "<function:line>", cut to the slot with its terminator. */
    char callSites[VOS_LOG_CALL_SITES][VOS_LOG_CALL_SITE_SIZE];
    uint32_t callSiteNext; /**< the slot to be written next, 0 to 31 */
    uint32_t maxSize;      /**< bytes at which the log file is rotated */
} LogSharedConfig;
VOS_STATIC_ASSERT(sizeof(LogSharedConfig) == 2576, "tools attach the segment");
VOS_STATIC_ASSERT(offsetof(LogSharedConfig, level) == 0, "tools attach the segment");
VOS_STATIC_ASSERT(offsetof(LogSharedConfig, destination) == 4, "tools attach the segment");
VOS_STATIC_ASSERT(offsetof(LogSharedConfig, callSites) == 8, "tools attach the segment");
VOS_STATIC_ASSERT(offsetof(LogSharedConfig, callSiteNext) == 2568, "tools attach the segment");
VOS_STATIC_ASSERT(offsetof(LogSharedConfig, maxSize) == 2572, "tools attach the segment");

/** @name What daemons write their entries with: a printf format and its arguments
 *  @{ */
/** An entry of level VOS_LOG_LEVEL_ERROR: an error. */
#define VOS_LOG_ERROR(...) log_log(VOS_LOG_LEVEL_ERROR, VOS_FUNCTION, VOS_CAST(uint32_t, __LINE__), __VA_ARGS__)
/** An entry of level VOS_LOG_LEVEL_NOTICE: a notable event. */
#define VOS_LOG_NOTICE(...) log_log(VOS_LOG_LEVEL_NOTICE, VOS_FUNCTION, VOS_CAST(uint32_t, __LINE__), __VA_ARGS__)
/** An entry of level VOS_LOG_LEVEL_DEBUG: tracing. */
#define VOS_LOG_DEBUG(...) log_log(VOS_LOG_LEVEL_DEBUG, VOS_FUNCTION, VOS_CAST(uint32_t, __LINE__), __VA_ARGS__)
/** An entry of level VOS_LOG_LEVEL_DEVEL: tracing for who develops the daemon. */
#define VOS_LOG_DEVEL(...) log_log(VOS_LOG_LEVEL_DEVEL, VOS_FUNCTION, VOS_CAST(uint32_t, __LINE__), __VA_ARGS__)
/** @} */

VOS_BEGIN_DECLS

/** The standard descriptors that vosLog_stdRedirect() replaced, each -1 while nothing is redirected.
 *  @{ */
extern VOS_DATA int32_t g_vosStdin;
extern VOS_DATA int32_t g_vosStdout;
extern VOS_DATA int32_t g_vosStderr;
/** @} */

/** Opens the log of this process.
 *
 *  The process is known under its plug-in's name (vos/plugin_info.h), else its entity's (vos/eid.h), else "EID<eid>".
 *  The segment of that name is attached, or created with mode 0666, and set to level 3, destination 1 and maximum size
 *  32768, whatever stood there. A segment smaller than LogSharedConfig is refused. Failures are printed to standard
 *  output and leave the process without configuration, or without file where only that is missing. A second init
 *  without vosLog_cleanup() leaks the name and the stream of the first.
 *
 *  @param eid  entity id, which also names the log file; with 0 no file is written
 */
void vosLog_init(VosEntityId eid);

/** Closes the log file and syslog and forgets the name. The segment stays attached: settings go on working and entries
 *  go on to the configured destination under the name "unknown". */
void vosLog_cleanup(void);

/** Writes an entry: colour, header, message, colour reset and a line feed, which is added whatever the message ends in.
 *
 *  The call site is recorded even if @p level is above the configured level; with VOS_LOG_LEVEL_NONE configured nothing
 *  happens at all, nor without a configuration. The destination learns the configured level as its priority, not the
 *  entry's. errno is kept.
 *
 *  @param level  VosLogLevel of the entry
 *  @param func   the caller's name, "?" for NULL
 *  @param line   the caller's line
 *  @param fmt    printf format; NULL writes nothing
 */
void log_log(uint32_t level, const char *func, uint32_t line, const char *fmt, ...) VOS_PRINTF(4, 5);

/** Writes a message in blue without a header, if @p level is at most the configured level. Records no call site, and
 *  VOS_LOG_LEVEL_NONE configured lets level 1 and below pass. Nothing happens without a configuration or for NULL.
 *
 *  @param level          also the priority that the destination learns
 *  @param destination    VosLogDestination
 *  @param appendNewline  whether file and standard error get a line feed behind the text
 */
void vosLog_vprintf(uint32_t level, uint32_t destination, bool appendNewline, const char *fmt, ...) VOS_PRINTF(4, 5);

/** Writes a text to the log file, if one is open, and to a destination; what every entry ends in.
 *
 *  The file is rotated first when its position has reached the maximum size, so that it may exceed it by one entry:
 *  what stands under "%u.log.0" is removed, the file is copied there and truncated. Processes that share one file each
 *  go by their own position. Terminals get a line feed in any case. Syslog and the Android log know the text as a
 *  format, of which only what needs no arguments is read: "%%" becomes "%" and "%m" the text of errno, every other '%'
 *  stands for itself.
 *
 *  @param level  priority for syslog and the Android log; not compared with anything
 *  @param text   NULL writes nothing
 */
void vosLog_printf(uint32_t level, uint32_t destination, bool appendNewline, const char *text);

/** Records a call site in the ring of the segment; nothing without a configuration. NULL counts as "?". */
void vosLog_cache(const char *func, uint32_t line);

/** @name Settings
 *  @{ */

/** Reads or writes one setting, in the shared segment; while none is attached a setter does nothing and a getter gives
 *  3, 1 and 32 (a maximum size of 32 here and 32768 after vosLog_init()). The header mask is the process's own and
 *  always works. No value is checked. */
void vosLog_setLevel(uint32_t level);
uint32_t vosLog_getLevel(void);
void vosLog_setDestination(uint32_t destination);
uint32_t vosLog_getDestination(void);
void vosLog_setMaxSize(uint32_t bytes);
uint32_t vosLog_getMaxSize(void);
void vosLog_setHeaderMask(uint32_t mask);
uint32_t vosLog_getHeaderMask(void);
/** @} */

/** Prints both generations of an entity's log file to standard output, the older one first; a complaint for 0 and for
 *  what is there and cannot be opened. */
void vosLog_show(VosEntityId eid);

/** Removes the older generation of @p eid's log file and empties the calling process's own file, whoever @p eid is. A
 *  complaint on standard output for 0. */
void vosLog_clear(VosEntityId eid);

/** Writes a hexadecimal dump of @p len bytes as debug entries, each cell through vosLog_vprintf() of its own; nothing
 *  for NULL, for 0 and without a configuration. Bytes from 0x20 to 0x80 count as printable. */
void vosLog_hexDump(const uint8_t *buf, uint32_t len);

/** Writes "000000 " and the message to syslog with priority LOG_INFO, whatever is configured. The text is then read as
 *  a format as vosLog_printf() says. Returns 0. */
int vosSyslog_info(const char *fmt, ...) VOS_PRINTF(1, 2);

/** Reserved for security events: writes nothing, returns 0. */
int vosLog_security(const char *fmt, ...) VOS_PRINTF(1, 2);

/** Puts a terminal in the place of standard input, output and error. Descriptors that are redirected already keep what
 *  was saved first.
 *
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for NULL or an empty path; VOS_RET_NO_RESOURCE when it cannot be opened, or
 *          when the process is out of descriptors and a standard one that cannot be saved stays as it is
 */
VosRet vosLog_stdRedirect(const char *ttyPath);

/** Brings back the standard descriptors that were replaced; VOS_RET_OK. The saved duplicates stay open. One that was
 *  closed before the redirection stays with the terminal. */
VosRet vosLog_stdRevert(void);

/** Remembers a terminal device as the one of the last login; VOS_RET_OK, also when the link cannot be written;
 *  VOS_RET_BAD_ARG for NULL or an empty name. What stands in the link's place is removed, an empty directory too. */
VosRet vosLog_saveLastPty(const char *ttyName);

/** vosLog_stdRedirect() to the terminal of the last login; VOS_RET_NO_RESOURCE also when what stands in the link's
 *  place belongs neither to root nor to the caller's user. */
VosRet vosLog_stdToLastPty(void);

void oalLog_init(void);    /**< opens syslog without an identity, facility LOG_DAEMON */
void oalLog_cleanup(void); /**< closes syslog */

/** Writes a text to syslog, read as a format as vosLog_printf() says. @p level is the priority, unchanged; nothing for
 *  a NULL @p text. */
void oalLog_syslog(uint32_t level, const char *text);

VOS_END_DECLS

#endif
