# What the two ARM toolchains share. The compilers are Debian's cross packages; the target's own libraries stand in a
# sysroot of this project, build/sysroot/TRIPLET, so that the machine's packages stay untouched.
set(CMAKE_CXX_COMPILER ${QOR_TRIPLET}-g++)
set(CMAKE_C_COMPILER ${QOR_TRIPLET}-gcc)

get_filename_component(QOR_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot/${QOR_TRIPLET} ABSOLUTE)
set(CMAKE_FIND_ROOT_PATH ${QOR_SYSROOT} /usr/${QOR_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_LIBRARY_ARCHITECTURE ${QOR_TRIPLET})

set(CMAKE_CROSSCOMPILING_EMULATOR
    ${QOR_QEMU};-L;/usr/${QOR_TRIPLET};-E;LD_LIBRARY_PATH=${QOR_SYSROOT}/usr/lib/${QOR_TRIPLET})
