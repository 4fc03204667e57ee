# What every target is compiled with. The results of the pipeline are the same bits on every machine, so contraction
# of multiply and add is off everywhere and no flag may relax the arithmetic.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
if(NOT EMSCRIPTEN)
    set(CMAKE_POSITION_INDEPENDENT_CODE ON)
endif()
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

add_compile_options(-ffp-contract=off)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
    # The vector kernels choose among SSE4, AVX2 and AVX-512 when they run; SSE4 (PCs since 2010) is the minimum.
    add_compile_options(-msse4.2 -maes -mpclmul)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
    # The kernels are written for vectors of a size known at compile time, NEON's. Those of SVE have a size that only the
    # processor knows; Highway asks in these words to leave them out. Nothing that the kernels could do is lost on any
    # processor, as each with SVE has NEON too.
    add_compile_definitions("HWY_DISABLED_TARGETS=(HWY_SVE|HWY_SVE2|HWY_SVE_256|HWY_SVE2_128)")
endif()
option(QOR_EMULATED_VECTORS "Kernels for a processor without vectors alone: for other processors, and for tests" OFF)
if(QOR_EMULATED_VECTORS)
    add_compile_definitions(HWY_COMPILE_ONLY_EMU128)
endif()
# C has its own warnings and does not know those of C++.
add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:-Wall;-Wextra;-Wpedantic;-Wshadow;-Wnon-virtual-dtor;-Wcast-qual;\
-Wdouble-promotion;-Wfloat-conversion;-Wimplicit-fallthrough>")
if(QOR_WARNINGS_AS_ERRORS)
    add_compile_options(-Werror)
endif()

# What is tested is what ships: the library is compiled at -O3 for the tests as well (its rooms add these options), and
# objects of the presets `dev` and `release` differ only in debug information.
set(QOR_LIBRARY_OPTIONS)
if(NOT QOR_SANITIZE)
    set(QOR_LIBRARY_OPTIONS $<$<NOT:$<CONFIG:Debug>>:-O3>)
endif()

if(QOR_DEBIAN_PACKAGES)
    # The library's debug information goes into a package of its own. It names the sources from the root of the tree, so that
    # the packages have the same bytes in whichever folder they are built.
    list(APPEND QOR_LIBRARY_OPTIONS -g -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
endif()

# g++ 12 vectorises a loop that subtracts and adds products in turn with a fused instruction, in spite of
# -ffp-contract=off. It needs a target with such instructions. Only the kernels are compiled for those, and they are
# vectorised by hand. scripts/check-fusion searches every object for fused instructions.
set(QOR_KERNEL_OPTIONS)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set(QOR_KERNEL_OPTIONS -fno-tree-loop-vectorize -fno-tree-slp-vectorize)
endif()

# qor_set_kernel_options(target): gives the sources called *Kernels.cpp their options.
function(qor_set_kernel_options target)
    get_target_property(sources ${target} SOURCES)
    list(FILTER sources INCLUDE REGEX "Kernels\\.cpp$")
    set_property(SOURCE ${sources} APPEND PROPERTY COMPILE_OPTIONS ${QOR_KERNEL_OPTIONS})
endfunction()

if(QOR_SANITIZE)
    add_compile_options(-fsanitize=${QOR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${QOR_SANITIZE})
endif()
if(QOR_BUILD_FUZZERS)
    # The fuzzer's bookkeeping in every part; its main() comes with the fuzz targets alone.
    add_compile_options(-fsanitize=fuzzer-no-link)
    add_link_options(-fsanitize=fuzzer-no-link)
endif()
