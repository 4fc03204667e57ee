# qor_header_only(target header package): an imported target for a library of which only headers are taken, those of the
# machine's own package. A link to their folder keeps the machine's other headers out of the compiler's sight.
function(qor_header_only target folder package)
    if(NOT IS_DIRECTORY /usr/include/${folder})
        message(FATAL_ERROR "No /usr/include/${folder}: scripts/setup installs ${package}.")
    endif()
    set(include ${CMAKE_BINARY_DIR}/include)
    file(MAKE_DIRECTORY ${include})
    file(CREATE_LINK /usr/include/${folder} ${include}/${folder} SYMBOLIC)
    if(NOT TARGET ${target})
        add_library(${target} INTERFACE IMPORTED GLOBAL)
        set_target_properties(${target} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${include})
    endif()
endfunction()
