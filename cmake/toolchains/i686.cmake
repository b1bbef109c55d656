# 32-bit x86 with SSE2: the arithmetic of the x87 rounds elsewhere and is refused. 64-bit x86 runs its programs by their
# own loader.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(trq_triplet i686-linux-gnu)
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/i686-linux-gnu/lib/ld-linux.so.2;--library-path;/usr/i686-linux-gnu/lib)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
