# Warnings for every target of the project.
add_compile_options(-Wall -Wextra -Wshadow -Wconversion)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # With optimisation it takes "text" + std::string for a copy onto itself (GCC bug 105651).
    add_compile_options(-Wno-restrict)
endif()
if(VOS_WERROR)
    add_compile_options(-Werror)
endif()
