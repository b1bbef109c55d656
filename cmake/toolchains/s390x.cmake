# A machine that stores the high byte first, Debian's cross compiler; programs run under user-mode emulation.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(trq_triplet s390x-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x-static;-L;/usr/s390x-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
