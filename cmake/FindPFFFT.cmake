# An installed PFFFT: header pffft.h and the static library pffft. Makes pffft_object(), because the pipeline needs the
# library with other memory functions.
#
#   PFFFT_INCLUDE_DIR   folder of pffft.h
#   PFFFT_LIBRARY libpffft.a; a shared library does not work
find_path(PFFFT_INCLUDE_DIR pffft.h)
find_library(PFFFT_LIBRARY NAMES libpffft.a)
mark_as_advanced(PFFFT_INCLUDE_DIR PFFFT_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(PFFFT REQUIRED_VARS PFFFT_LIBRARY PFFFT_INCLUDE_DIR
    REASON_FAILURE_MESSAGE "without QOR_INSTALLED_PFFFT it is compiled from source")

# pffft_object(OUTPUT PREFIX name EXPORTS functions...): the whole library as one object file OUTPUT that
# - asks PREFIXmalloc and PREFIXfree for memory instead of the C library, and
# - shows nothing but the EXPORTS, each as PREFIXfunction.
function(pffft_object output)
    cmake_parse_arguments(ARG "" "PREFIX" "EXPORTS" ${ARGN})
    set(renamed)
    foreach(name IN ITEMS malloc free ${ARG_EXPORTS})
        list(APPEND renamed --redefine-sym=${name}=${ARG_PREFIX}${name})
    endforeach()
    set(shown)
    foreach(name IN LISTS ARG_EXPORTS)
        list(APPEND shown --keep-global-symbol=${ARG_PREFIX}${name})
    endforeach()
    add_custom_command(
        OUTPUT ${output}
        COMMAND ${CMAKE_LINKER} -r -o ${output}.whole --whole-archive ${PFFFT_LIBRARY}
        # One after the other: GNU and LLVM tools differ in the names that a combined call keeps.
        COMMAND ${CMAKE_OBJCOPY} ${renamed} ${output}.whole ${output}
        COMMAND ${CMAKE_OBJCOPY} ${shown} ${output}
        DEPENDS ${PFFFT_LIBRARY}
        BYPRODUCTS ${output}.whole
        COMMENT "Taking PFFFT with the memory of its caller"
        VERBATIM
    )
    set_source_files_properties(${output} PROPERTIES EXTERNAL_OBJECT TRUE GENERATED TRUE)
endfunction()
