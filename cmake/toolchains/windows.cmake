# 64-bit Windows by mingw-w64 with POSIX threads; programs run under Wine. Programs hold the compiler's own libraries; the
# DLL shares them with the application that loads it.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(trq_triplet x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${trq_triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${trq_triplet}-g++-posix)
set(CMAKE_RC_COMPILER ${trq_triplet}-windres)
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
include(${CMAKE_CURRENT_LIST_DIR}/dependencies.cmake)
