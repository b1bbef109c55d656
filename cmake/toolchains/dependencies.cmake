# Libraries and their headers come from build/<system>/deps alone, where scripts/cross puts them: this machine's own
# are for another system, or made with other flags.
get_filename_component(trq_dependencies ${CMAKE_BINARY_DIR}/deps ABSOLUTE)
set(CMAKE_FIND_ROOT_PATH ${trq_dependencies})
set(CMAKE_PREFIX_PATH ${trq_dependencies})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${trq_dependencies}/lib/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")
