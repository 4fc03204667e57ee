# Highway for WebAssembly: one vector target, so its kernels need no choice at run time and none of its library.
include(${CMAKE_CURRENT_LIST_DIR}/HeaderOnly.cmake)
qor_header_only(hwy::hwy hwy libhwy-dev)
set(hwy_FOUND TRUE)
