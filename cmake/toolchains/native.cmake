# This machine's compiler with the libraries that the cross builds use: the other side of every comparison.
set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)
include(${CMAKE_CURRENT_LIST_DIR}/dependencies.cmake)
