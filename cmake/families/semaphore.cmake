# Whether the library exports its own semtimedop; see vosSem_lock() in vos/sem.h for what either choice means.
option(VOS_SEMTIMEDOP_FALLBACK "Export a semtimedop that does nothing, for a libc without the call" ON)
if(NOT VOS_SEMTIMEDOP_FALLBACK)
    list(FILTER vos_sources EXCLUDE REGEX "/semtimedop\\.cpp$")
    list(FILTER vos_exports EXCLUDE REGEX "/semtimedop\\.txt$")
endif()
