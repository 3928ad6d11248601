# Run by CPack over the finished packages: CPack gives a library package scripts that call ldconfig, Debian wants the
# trigger that packaging/debian/triggers names instead. Its installed size counts a link as what it leads to; that is
# put right too, and the checksums of debug symbols, which name the files by where they were staged; their documentation is
# that of the package they belong to.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
    if(package MATCHES "/libvos[0-9]+_")
        set(dir ${package}.dir)
        execute_process(COMMAND dpkg-deb -R ${package} ${dir} COMMAND_ERROR_IS_FATAL ANY)
        file(REMOVE ${dir}/DEBIAN/postinst ${dir}/DEBIAN/postrm)
        execute_process(COMMAND du -sk --apparent-size --exclude=DEBIAN ${dir} OUTPUT_VARIABLE size)
        string(REGEX MATCH "^[0-9]+" size "${size}")
        file(READ ${dir}/DEBIAN/control control)
        string(REGEX REPLACE "Installed-Size: [0-9]+" "Installed-Size: ${size}" control "${control}")
        file(WRITE ${dir}/DEBIAN/control "${control}")
        execute_process(COMMAND dpkg-deb --root-owner-group -b ${dir} ${package}
            OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
        file(REMOVE_RECURSE ${dir})
    endif()
endforeach()

list(GET CPACK_PACKAGE_FILES 0 package)
get_filename_component(directory ${package} DIRECTORY)
file(GLOB symbols ${directory}/*-dbgsym_*.ddeb)
foreach(package IN LISTS symbols)
    set(dir ${package}.dir)
    execute_process(COMMAND dpkg-deb -R ${package} ${dir} COMMAND_ERROR_IS_FATAL ANY)
    get_filename_component(name ${package} NAME)
    string(REGEX REPLACE "-dbgsym_.*" "" name ${name})
    file(MAKE_DIRECTORY ${dir}/usr/share/doc)
    file(CREATE_LINK ${name} ${dir}/usr/share/doc/${name}-dbgsym SYMBOLIC)
    execute_process(COMMAND sh -c "find usr -type f -exec md5sum {} + > DEBIAN/md5sums && chmod 644 DEBIAN/md5sums &&
        find . -type d -exec chmod 755 {} +" WORKING_DIRECTORY ${dir} COMMAND_ERROR_IS_FATAL ANY)
    execute_process(COMMAND dpkg-deb --root-owner-group -b ${dir} ${package} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
    file(REMOVE_RECURSE ${dir})
endforeach()
