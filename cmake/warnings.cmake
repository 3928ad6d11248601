# Warnings for every target of the project.
add_compile_options(-Wall -Wextra -Wshadow -Wconversion)
if(VOS_WERROR)
    add_compile_options(-Werror)
endif()
