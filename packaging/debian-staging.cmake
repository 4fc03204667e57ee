# Runs in CPack between the installation into the staging area and the packing: brings the files into the form of Debian's
# packages.
set(staged ${CPACK_TEMPORARY_DIRECTORY})
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
    message(FATAL_ERROR "SOURCE_DATE_EPOCH is not set; scripts/package sets it.")
endif()

# These are in the file `copyright` of each package.
file(GLOB licences ${staged}/*/usr/share/doc/*/LICENSE ${staged}/*/usr/share/doc/*/NOTICE)
if(licences)
    file(REMOVE ${licences})
endif()

file(GLOB compressed ${staged}/*/usr/share/man/man1/*.1 ${staged}/*/usr/share/doc/*/changelog)
foreach(file IN LISTS compressed)
    execute_process(COMMAND gzip -9n ${file} COMMAND_ERROR_IS_FATAL ANY)
endforeach()

# CPack takes debug information out of the plug-in, but leaves the names of symbols in the command and everything in archives.
file(GLOB_RECURSE archives ${staged}/*.a)
foreach(archive IN LISTS archives)
    execute_process(COMMAND ${CPACK_STRIP_EXECUTABLE} --strip-debug --remove-section=.comment
                            --enable-deterministic-archives ${archive} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
file(GLOB commands ${staged}/*/usr/bin/*)
foreach(command IN LISTS commands)
    execute_process(COMMAND ${CPACK_STRIP_EXECUTABLE} ${command} COMMAND_ERROR_IS_FATAL ANY)
endforeach()

execute_process(COMMAND find ${staged} -mindepth 2 -type d -empty -delete COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND find ${staged} -type f ! -path */bin/* -exec chmod 644 {} + COMMAND_ERROR_IS_FATAL ANY)
