# CLI11 for WebAssembly.
include(${CMAKE_CURRENT_LIST_DIR}/HeaderOnly.cmake)
qor_header_only(CLI11::CLI11 CLI libcli11-dev)
set(CLI11_FOUND TRUE)
