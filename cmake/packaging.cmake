# Debian packages with CPack: libvos1, libvos-dev, libvos-doc and vos-tools, each with its debug symbols where the build has
# any. scripts/package.sh builds and checks them. Included after install.cmake and the tools, whose components are runtime,
# dev, doc, tools and mini.
set(packaging_dir ${PROJECT_SOURCE_DIR}/packaging/debian)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libvos)
set(CPACK_PACKAGE_CONTACT "libvos maintainers <libvos@gateway.invalid>")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${CPACK_PACKAGE_CONTACT})
set(CPACK_PACKAGE_VENDOR libvos)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_PACKAGE_HOMEPAGE_URL "")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each description begins with a synopsis of its own
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev tools mini)
if(VOS_BUILD_DOCS)
    list(APPEND CPACK_COMPONENTS_ALL doc)
endif()
set(CPACK_COMPONENT_TOOLS_GROUP tools)
set(CPACK_COMPONENT_MINI_GROUP tools)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)  # which strips the files of the packages
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/package_stage.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/package_triggers.cmake)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvos${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# dpkg-shlibdeps sees what the library is linked with, not what it opens at first use.
foreach(soname IN LISTS vos_late_sonames)
    execute_process(COMMAND dpkg-query -S "*/${CMAKE_LIBRARY_ARCHITECTURE}/${soname}" OUTPUT_VARIABLE owner ERROR_QUIET)
    if(owner MATCHES "^([a-z0-9.+-]+):")
        list(APPEND vos_late_packages ${CMAKE_MATCH_1})
    endif()
endforeach()
list(JOIN vos_late_packages ", " CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS)
# What a package that was linked with the library needs of it: each exported name since the release that added it.
set(symbols "libvos.so.${PROJECT_VERSION_MAJOR} libvos${PROJECT_VERSION_MAJOR} #MINVER#\n")
foreach(node IN LISTS vos_nodes ITEMS unversioned)
    string(REPLACE "VOS_" "" since ${node})
    set(version ${node})
    if(node STREQUAL "unversioned")
        set(version Base)
        set(since 1.0)
    else()
        string(APPEND symbols " ${node}@${node} ${since}.0\n")
    endif()
    string(REGEX MATCHALL "[A-Za-z_0-9]+;" names "${vos_names_${node}}")
    foreach(name IN LISTS names)
        if(name)
            string(APPEND symbols " ${name}@${version} ${since}.0\n")
        endif()
    endforeach()
endforeach()
file(WRITE ${PROJECT_BINARY_DIR}/debian/symbols "${symbols}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${packaging_dir}/triggers ${PROJECT_BINARY_DIR}/debian/symbols)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "runtime library of home-gateway daemons
Messages between processes through a hub, a log, memory, timers, child
processes, and helpers for text, addresses and data formats.
.
This package holds the shared library.")
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libvos-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libvos${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}-1)")
if(VOS_WITH_SECURITY)  # for the static library, and for the CMake package, which names what that is linked with
    string(APPEND CPACK_DEBIAN_DEV_PACKAGE_DEPENDS ", libssl-dev")
endif()
set(CPACK_DEBIAN_DEV_PACKAGE_SUGGESTS "libvos-doc, vos-tools")
set(CPACK_COMPONENT_DEV_DESCRIPTION "runtime library of home-gateway daemons, for developers
Messages between processes through a hub, a log, memory, timers, child
processes, and helpers for text, addresses and data formats.
.
This package holds headers, the static library, manual pages, what
pkg-config and CMake need, and examples: daemons, samples for init
systems, a sample for continuous integration.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME vos-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libvos${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "development hub and tools for home-gateway daemons
A hub that routes messages between daemons on a development machine, a
command-line tool that sends, shows, measures and records them, a small
one for the device, a generator of code from descriptions of messages,
and a dissector of captures for Wireshark.")
set(CPACK_DEBIAN_DOC_PACKAGE_NAME libvos-doc)
set(CPACK_DEBIAN_DOC_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOC_PACKAGE_ARCHITECTURE all)
set(CPACK_COMPONENT_DOC_DESCRIPTION "runtime library of home-gateway daemons, manual
A page with a tested example for each family of functions, guides,
the bytes on the wire, and every function with its return codes, as
HTML: /usr/share/doc/libvos-doc/html/index.html.")

foreach(part IN ITEMS runtime:libvos${PROJECT_VERSION_MAJOR} dev:libvos-dev doc:libvos-doc tools:vos-tools)
    string(REPLACE ":" ";" part ${part})
    list(GET part 0 component)
    list(GET part 1 package)
    install(FILES ${packaging_dir}/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package}
        COMPONENT ${component} EXCLUDE_FROM_ALL)
    install(FILES ${packaging_dir}/changelog DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package}
        RENAME changelog.Debian COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

if(VOS_BUILD_TOOLS AND VOS_BUILD_PYTHON)
    include(${PROJECT_SOURCE_DIR}/python/packaging.cmake)
endif()
include(CPack)
