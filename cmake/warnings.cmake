# Warnings for every target of the project; another project that includes it has warnings of its own.
if(PROJECT_IS_TOP_LEVEL OR VOS_WERROR)
    add_compile_options(-Wall -Wextra -Wshadow -Wconversion)
endif()
if(VOS_WERROR)
    add_compile_options(-Werror)
endif()
