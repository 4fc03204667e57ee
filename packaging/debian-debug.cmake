# Runs in CPack after the packing. Its packages of debug information list their files by the path in the staging area, so that
# no installed file would be found by it, and the bytes would depend on the folder of the build: packed again without.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
    if(NOT package MATCHES "\\.ddeb$")
        continue()
    endif()
    set(content ${CPACK_TEMPORARY_DIRECTORY}/debug)
    file(REMOVE_RECURSE ${content})
    execute_process(COMMAND dpkg-deb --raw-extract ${package} ${content} COMMAND_ERROR_IS_FATAL ANY)
    execute_process(COMMAND sed -i "s,  .*/usr/lib/debug/,  usr/lib/debug/," ${content}/DEBIAN/md5sums
                    COMMAND_ERROR_IS_FATAL ANY)
    execute_process(COMMAND find ${content} -type f -exec chmod 644 {} + COMMAND_ERROR_IS_FATAL ANY)
    execute_process(COMMAND dpkg-deb --root-owner-group --build ${content} ${package} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
