# 64-bit ARM, Debian's cross compiler; programs run under user-mode emulation.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(trq_triplet aarch64-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static;-L;/usr/aarch64-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
