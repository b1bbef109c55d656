# What the toolchain files for Debian's cross compilers share. Each sets trq_triplet first.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${trq_triplet}-gcc)
set(CMAKE_CXX_COMPILER ${trq_triplet}-g++)
include(${CMAKE_CURRENT_LIST_DIR}/dependencies.cmake)
