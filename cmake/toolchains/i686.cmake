# 32-bit x86 with SSE2: the arithmetic of the x87 rounds elsewhere and is refused.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(trq_triplet i686-linux-gnu)
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-i386-static;-L;/usr/i686-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
