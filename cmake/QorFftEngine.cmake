# The FFT engine PFFFT, as objects for the library (QOR_FFT_ENGINE) that
# - ask alpffft_malloc and alpffft_free for memory instead of the C library, and
# - name their functions alpffft_pffft_*, so that another copy of the library in the process does not clash.
# PFFFT_INCLUDE_DIR becomes the folder of pffft.h.
#
# It is compiled here, from the source that scripts/setup fetches, with the flags of the project: vectors of four and
# nothing fused on every target, so that its transforms have the same bits everywhere. Packages of it are compiled
# differently on each architecture. QOR_INSTALLED_PFFFT takes such a package; results with straylight correction are
# then the same only on machines with this package.
option(QOR_INSTALLED_PFFFT "Take the installed PFFFT; straylight results then differ between machines" OFF)
set(fft_engine_exports pffft_new_setup pffft_transform_ordered pffft_simd_size)

if(QOR_INSTALLED_PFFFT)
    find_package(PFFFT REQUIRED)
    set(QOR_FFT_ENGINE ${CMAKE_CURRENT_BINARY_DIR}/pffft_engine.o)
    pffft_object(${QOR_FFT_ENGINE} PREFIX alpffft_ EXPORTS ${fft_engine_exports})
    return()
endif()

set(QOR_PFFFT_SOURCE_DIR ${PROJECT_SOURCE_DIR}/build/dependencies/pffft CACHE PATH "Folder of pffft.c and pffft.h")
if(NOT EXISTS ${QOR_PFFFT_SOURCE_DIR}/pffft.c)
    message(FATAL_ERROR "No pffft.c in ${QOR_PFFFT_SOURCE_DIR}: scripts/setup fetches it. "
                        "QOR_PFFFT_SOURCE_DIR names another folder.")
endif()
set(PFFFT_INCLUDE_DIR ${QOR_PFFFT_SOURCE_DIR})
set(QOR_FFT_ENGINE $<TARGET_OBJECTS:pffft_engine>)
add_library(pffft_engine OBJECT ${QOR_PFFFT_SOURCE_DIR}/pffft.c)
foreach(name IN ITEMS malloc free ${fft_engine_exports})
    target_compile_definitions(pffft_engine PRIVATE ${name}=alpffft_${name})
endforeach()
target_compile_options(pffft_engine PRIVATE -w)
if(CMAKE_SYSTEM_NAME STREQUAL Emscripten)
    # There the vectors of four are those of SSE; the engine takes the machine for a PC.
    target_compile_options(pffft_engine PRIVATE -msse -msimd128)
    target_compile_definitions(pffft_engine PRIVATE i386)
endif()
