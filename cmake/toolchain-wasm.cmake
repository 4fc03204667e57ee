# WebAssembly by Debian's emscripten, for the page; programs run under node. scripts/setup --wasm installs it.
#
# Vectors are those of SIMD128. Headers that are templates only come from the machine's own packages, zlib is compiled
# from its Debian source.
set(EMSCRIPTEN_ROOT_PATH /usr/share/emscripten)
# A program that finds fetch() would fetch its own module by it, and cannot.
set(CMAKE_CROSSCOMPILING_EMULATOR node --no-experimental-fetch)
include(${EMSCRIPTEN_ROOT_PATH}/cmake/Modules/Platform/Emscripten.cmake)

list(APPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR}/wasm)
set(CMAKE_C_FLAGS_INIT "-msimd128")
# The library is that of 2021; the folder has what it lacks of C++20.
set(CMAKE_CXX_FLAGS_INIT "-msimd128 -fexceptions -I${CMAKE_CURRENT_LIST_DIR}/wasm/include")
# Programs of the build and of the tests see the machine's files.
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-fexceptions -sNODERAWFS=1 -sINITIAL_MEMORY=64MB -sALLOW_MEMORY_GROWTH=1 -sEXIT_RUNTIME=1 -sENVIRONMENT=node")
