# fmt for WebAssembly: its headers alone are the library.
include(${CMAKE_CURRENT_LIST_DIR}/HeaderOnly.cmake)
qor_header_only(fmt::fmt fmt libfmt-dev)
set_target_properties(fmt::fmt PROPERTIES INTERFACE_COMPILE_DEFINITIONS FMT_HEADER_ONLY)
set(fmt_FOUND TRUE)
