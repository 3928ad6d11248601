# Run by CPack over the finished packages: CPack gives a library package scripts that call ldconfig, Debian wants the
# trigger that packaging/debian/triggers names instead. Its installed size counts a link as what it leads to; that is
# put right too.
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
