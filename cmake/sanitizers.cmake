# VOS_SANITIZE applies to everything, so that library, tools and tests share one runtime.
if(VOS_SANITIZE)
    add_compile_options(-fsanitize=${VOS_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1)
    add_link_options(-fsanitize=${VOS_SANITIZE})
    # GCC's documentation: with sanitizers this warning is wrong more often; it takes an empty std::optional for one.
    add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()

# Coverage feedback for the fuzz targets comes from the library too.
if(VOS_BUILD_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
    add_link_options(-fsanitize=fuzzer-no-link)
endif()

option(VOS_COVERAGE "Count executed lines and branches" OFF)
if(VOS_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
    # With extensions gcc knows fork and exec, and a child writes its counters before it becomes another program.
    set(CMAKE_CXX_EXTENSIONS ON)
endif()
