# AArch64, cross-compiled on a PC; programs run under qemu-user. scripts/setup --arm makes the sysroot.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(QOR_TRIPLET aarch64-linux-gnu)
set(QOR_QEMU qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-cross.cmake)
