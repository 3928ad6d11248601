# GB18030 conversion brings 290 KiB of tables; firmware without Chinese texts leaves it out. UTF-8 stays.
option(VOS_WITH_GB18030 "Build the GB18030 conversion (vos/gb18030.h)" ON)
if(NOT VOS_WITH_GB18030)
    list(FILTER vos_sources EXCLUDE REGEX "/util/gb18030/")
    list(FILTER vos_exports EXCLUDE REGEX "/gb18030\\.txt$")
    list(APPEND vos_headers_left_out gb18030.h)
endif()
