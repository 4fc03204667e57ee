# nlohmann-json for WebAssembly.
include(${CMAKE_CURRENT_LIST_DIR}/HeaderOnly.cmake)
qor_header_only(nlohmann_json::nlohmann_json nlohmann nlohmann-json3-dev)
set(nlohmann_json_FOUND TRUE)
