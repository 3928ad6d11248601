# The target `docs`: the HTML manual and the man pages, both by Doxygen from the public headers and docs/*.md. Warnings
# are errors. With VOS_BUILD_DOCS both belong to the build and are installed.
option(VOS_DOCS_SEARCH "Fetch pagefind from npm for the manual's search; without it a plain index serves" ON)
option(VOS_BUILD_DOCS "Build and install the manual, HTML and man pages (needs Doxygen)" OFF)

find_program(VOS_DOXYGEN doxygen)
find_program(VOS_DOCS_PYTHON python3)
mark_as_advanced(VOS_DOXYGEN VOS_DOCS_PYTHON)
if(NOT VOS_DOXYGEN OR NOT VOS_DOCS_PYTHON)
    if(VOS_BUILD_DOCS)
        message(FATAL_ERROR
            "the manual needs Doxygen and Python: apt-get install doxygen python3, or configure with -DVOS_BUILD_DOCS=OFF")
    endif()
    add_custom_target(docs
        COMMAND ${CMAKE_COMMAND} -E echo "the manual needs Doxygen and Python: apt-get install doxygen python3, then configure again"
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

set(vos_docs_skin manual.css layout.xml header.html footer.html search.js site.py man_pages.py)
file(GLOB vos_docs_images CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/images/*.svg)
file(GLOB vos_docs_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md ${PROJECT_SOURCE_DIR}/docs/manual/*.md
    ${PROJECT_SOURCE_DIR}/docs/examples/*.c* ${PROJECT_SOURCE_DIR}/docs/examples/cookbook/*.c*
    ${PROJECT_SOURCE_DIR}/examples/template/*.* ${PROJECT_SOURCE_DIR}/examples/template/*/*.*
    ${PROJECT_SOURCE_DIR}/include/vos/*.h*
    ${PROJECT_SOURCE_DIR}/include/vos/hpp/*.hpp ${PROJECT_SOURCE_DIR}/include/vos/loop/*.h)
list(TRANSFORM vos_docs_skin PREPEND ${PROJECT_SOURCE_DIR}/docs/)
list(APPEND vos_docs_sources ${vos_docs_images} ${vos_docs_dir}/functions.md ${vos_docs_skin})
set(vos_docs_npm "")
if(VOS_DOCS_SEARCH)
    set(vos_docs_npm ${vos_docs_dir}/npm)
endif()
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
    COMMAND ${VOS_DOCS_PYTHON} -B ${PROJECT_SOURCE_DIR}/docs/site.py ${vos_docs_dir}/html ${vos_docs_npm}
    COMMAND ${CMAKE_COMMAND} -E touch ${vos_docs_dir}/html.done
    DEPENDS ${vos_docs_sources} ${vos_docs_dir}/Doxyfile.html VERBATIM
    COMMENT "Writing the manual to ${vos_docs_dir}/html/index.html")

add_custom_command(OUTPUT ${vos_docs_dir}/man.done
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${vos_docs_dir}/doxygen-man ${vos_docs_dir}/man
    COMMAND ${VOS_DOXYGEN} ${vos_docs_dir}/Doxyfile.man
    COMMAND ${VOS_DOCS_PYTHON} -B ${PROJECT_SOURCE_DIR}/docs/man_pages.py ${vos_docs_dir}/doxygen-man ${vos_docs_dir}/man
        ${PROJECT_VERSION} ${vos_exports}
    COMMAND ${CMAKE_COMMAND} -E touch ${vos_docs_dir}/man.done
    DEPENDS ${vos_docs_sources} ${vos_docs_dir}/Doxyfile.man VERBATIM
    COMMENT "Writing the man pages to ${vos_docs_dir}/man")
add_custom_target(docs DEPENDS ${vos_docs_dir}/html.done ${vos_docs_dir}/man.done)

if(VOS_BUILD_DOCS)
    add_custom_target(manual ALL DEPENDS ${vos_docs_dir}/html.done ${vos_docs_dir}/man.done)
    install(DIRECTORY ${vos_docs_dir}/html DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libvos-doc COMPONENT doc)
    install(DIRECTORY ${vos_docs_dir}/man/man3 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT dev)
    install(DIRECTORY ${vos_docs_dir}/man/man1 ${vos_docs_dir}/man/man8 DESTINATION ${CMAKE_INSTALL_MANDIR}
        COMPONENT tools)
endif()
