# The target `docs`: the HTML manual and the man pages, both by Doxygen from the public headers and docs/*.md. Warnings
# are errors. With VOS_BUILD_DOCS the man pages belong to the build and are installed.
option(VOS_BUILD_DOCS "Build and install the man pages (needs Doxygen)" OFF)

find_program(VOS_DOXYGEN doxygen)
if(NOT VOS_DOXYGEN)
    if(VOS_BUILD_DOCS)
        message(FATAL_ERROR
            "the man pages need Doxygen: apt-get install doxygen, or configure with -DVOS_BUILD_DOCS=OFF")
    endif()
    add_custom_target(docs
        COMMAND ${CMAKE_COMMAND} -E echo "the manual needs Doxygen: apt-get install doxygen, then configure again"
        COMMAND ${CMAKE_COMMAND} -E false VERBATIM)
    return()
endif()

# A page with every exported name, so that a function is one click away from any page.
set(functions_page "All functions {#functions}\n=============\n\n")
string(APPEND functions_page "Everything the library exports, by family.\n\n@htmlonly<div class=\"names\">@endhtmlonly\n")
foreach(list IN LISTS vos_exports)
    get_filename_component(family ${list} NAME_WE)
    file(STRINGS ${list} names REGEX "^[A-Za-z_]")
    list(SORT names COMPARE STRING CASE INSENSITIVE)
    string(APPEND functions_page "\n## ${family}\n\n")
    foreach(name IN LISTS names)
        if(name MATCHES "^(g_|local_)")
            string(APPEND functions_page "- ::${name}\n")
        else()
            string(APPEND functions_page "- ${name}()\n")
        endif()
    endforeach()
endforeach()
string(APPEND functions_page "\n@htmlonly</div>@endhtmlonly\n")
set(vos_docs_dir ${PROJECT_BINARY_DIR}/docs)
file(CONFIGURE OUTPUT ${vos_docs_dir}/functions.md CONTENT "${functions_page}" @ONLY)

file(GLOB vos_docs_images CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/images/*.svg)
file(GLOB vos_docs_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md ${PROJECT_SOURCE_DIR}/docs/manual/*.md
    ${PROJECT_SOURCE_DIR}/docs/examples/*.c* ${PROJECT_SOURCE_DIR}/docs/examples/cookbook/*.c*
    ${PROJECT_SOURCE_DIR}/examples/tutorial/* ${PROJECT_SOURCE_DIR}/include/vos/*.h*
    ${PROJECT_SOURCE_DIR}/include/vos/hpp/*.hpp ${PROJECT_SOURCE_DIR}/include/vos/loop/*.h)
list(APPEND vos_docs_sources ${vos_docs_images} ${vos_docs_dir}/functions.md ${PROJECT_SOURCE_DIR}/docs/manual.css
    ${PROJECT_SOURCE_DIR}/docs/layout.xml)
set(vos_docs_input ${PROJECT_SOURCE_DIR}/include/vos ${PROJECT_SOURCE_DIR}/include/vos/hpp
    ${PROJECT_SOURCE_DIR}/include/vos/loop ${PROJECT_SOURCE_DIR}/docs ${PROJECT_SOURCE_DIR}/docs/manual
    ${vos_docs_dir}/functions.md)
string(REPLACE ";" " " vos_docs_input "${vos_docs_input}")
string(REPLACE ";" " " vos_docs_images "${vos_docs_images}")
foreach(kind IN ITEMS html man)
    file(READ ${PROJECT_SOURCE_DIR}/docs/Doxyfile.in common)
    file(READ ${PROJECT_SOURCE_DIR}/docs/Doxyfile.${kind}.in special)
    string(CONFIGURE "${common}${special}" text @ONLY)
    file(CONFIGURE OUTPUT ${vos_docs_dir}/Doxyfile.${kind} CONTENT "${text}" @ONLY)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/Doxyfile.in
        ${PROJECT_SOURCE_DIR}/docs/Doxyfile.${kind}.in)
endforeach()

add_custom_command(OUTPUT ${vos_docs_dir}/html.done
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${vos_docs_dir}/html
    COMMAND ${VOS_DOXYGEN} ${vos_docs_dir}/Doxyfile.html
    COMMAND ${CMAKE_COMMAND} -E touch ${vos_docs_dir}/html.done
    DEPENDS ${vos_docs_sources} ${vos_docs_dir}/Doxyfile.html VERBATIM
    COMMENT "Writing the manual to ${vos_docs_dir}/html/index.html")

add_custom_command(OUTPUT ${vos_docs_dir}/man.done
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${vos_docs_dir}/doxygen-man
    COMMAND ${VOS_DOXYGEN} ${vos_docs_dir}/Doxyfile.man
    COMMAND ${PROJECT_SOURCE_DIR}/docs/man_pages.sh ${vos_docs_dir}/doxygen-man ${vos_docs_dir}/man
        ${PROJECT_VERSION} ${vos_exports}
    COMMAND ${CMAKE_COMMAND} -E touch ${vos_docs_dir}/man.done
    DEPENDS ${vos_docs_sources} ${vos_docs_dir}/Doxyfile.man ${PROJECT_SOURCE_DIR}/docs/man_pages.sh VERBATIM
    COMMENT "Writing the man pages to ${vos_docs_dir}/man")
add_custom_target(docs DEPENDS ${vos_docs_dir}/html.done ${vos_docs_dir}/man.done)

if(VOS_BUILD_DOCS)
    add_custom_target(man_pages ALL DEPENDS ${vos_docs_dir}/man.done)
    install(DIRECTORY ${vos_docs_dir}/man/man3 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT dev)
    install(DIRECTORY ${vos_docs_dir}/man/man1 ${vos_docs_dir}/man/man8 DESTINATION ${CMAKE_INSTALL_MANDIR}
        COMPONENT tools)
endif()
