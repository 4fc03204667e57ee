# qor_header_only(target headers package): an imported target for a library of which only headers are taken, a folder or a
# file of /usr/include that the machine's own package has. A link to them keeps the machine's other headers out of the
# compiler's sight.
function(qor_header_only target headers package)
    if(NOT EXISTS /usr/include/${headers})
        message(FATAL_ERROR "No /usr/include/${headers}: scripts/setup installs ${package}.")
    endif()
    set(include ${CMAKE_BINARY_DIR}/include)
    file(MAKE_DIRECTORY ${include})
    file(CREATE_LINK /usr/include/${headers} ${include}/${headers} SYMBOLIC)
    if(NOT TARGET ${target})
        add_library(${target} INTERFACE IMPORTED GLOBAL)
        set_target_properties(${target} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${include})
    endif()
endfunction()
