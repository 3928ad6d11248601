# Headers, both libraries, vos.pc and the CMake package; all for developers (component dev) but the shared library.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME dev)
include(CMakePackageConfigHelpers)

set(vos_header_filter "")
foreach(header IN LISTS vos_headers_left_out)
    list(APPEND vos_header_filter PATTERN ${header} EXCLUDE)
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/vos DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp" ${vos_header_filter})
install(TARGETS vos vos_static EXPORT vosTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/vosConfig.cmake.in ${PROJECT_BINARY_DIR}/vosConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vos)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vosConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vosConfig.cmake ${PROJECT_BINARY_DIR}/vosConfigVersion.cmake
    ${PROJECT_SOURCE_DIR}/cmake/interfaces.cmake DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vos)
install(EXPORT vosTargets NAMESPACE vos:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vos)

set(vos_pc_libs_private "-pthread")
foreach(lib IN LISTS vos_pc_private)
    string(APPEND vos_pc_libs_private " ${lib}")
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/vos.pc.in ${PROJECT_BINARY_DIR}/vos.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vos.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# What a daemon's author begins with, as documentation.
set(vos_examples_dir ${CMAKE_INSTALL_DATADIR}/doc/libvos-dev/examples)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/ DESTINATION ${vos_examples_dir} USE_SOURCE_PERMISSIONS
    REGEX "/examples/CMakeLists[.]txt$" EXCLUDE PATTERN .clang-format EXCLUDE)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/packaging/units ${PROJECT_SOURCE_DIR}/packaging/ci-sample
    DESTINATION ${vos_examples_dir} USE_SOURCE_PERMISSIONS)
