# The Debian package python3-vos. Included by cmake/packaging.cmake.
list(APPEND CPACK_COMPONENTS_ALL python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-vos)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.11), libvos${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "vos-tools, python3-pytest")
set(CPACK_COMPONENT_PYTHON_DESCRIPTION "runtime library of home-gateway daemons, for Python
Messages between processes through a hub, also for asyncio, and the
daemon log, by way of the shared library.
.
The package vos.testing holds fixtures for pytest that run a daemon with a
hub of its own among scripted peers; the hub comes with vos-tools.")
install(FILES ${PROJECT_SOURCE_DIR}/packaging/debian/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/python3-vos
    COMPONENT python EXCLUDE_FROM_ALL)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/debian/changelog DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/python3-vos
    RENAME changelog.Debian COMPONENT python EXCLUDE_FROM_ALL)
