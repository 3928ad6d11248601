# Run by CPack over the staged files of all packages: change logs and man pages are compressed as Debian wants them,
# file modes do not depend on the builder's umask.
file(GLOB_RECURSE staged LIST_DIRECTORIES false ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*)
foreach(file IN LISTS staged)
    if(file MATCHES "/changelog\\.Debian$|/man/man[0-9]/[^/]*\\.[0-9]$")
        execute_process(COMMAND gzip -9nf ${file} COMMAND_ERROR_IS_FATAL ANY)
    endif()
endforeach()
execute_process(COMMAND chmod -R u=rwX,go=rX ${CPACK_TEMPORARY_INSTALL_DIRECTORY} COMMAND_ERROR_IS_FATAL ANY)
