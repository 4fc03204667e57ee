# ARMv7 with NEON, cross-compiled on a PC; programs run under qemu-user. scripts/setup --arm makes the sysroot.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7)
set(QOR_TRIPLET arm-linux-gnueabihf)
# Highway's NEON target asks for VFPv4 and half precision; GCC must be told so.
set(CMAKE_C_FLAGS_INIT "-march=armv7-a+neon-vfpv4 -mfpu=neon-vfpv4 -mfp16-format=ieee")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT} -Wno-psabi")
set(QOR_QEMU qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-cross.cmake)
