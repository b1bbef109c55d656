# Installation: the library, include/trq and a CMake package that answers find_package(TRQSharedDll).
include(CMakePackageConfigHelpers)
install(TARGETS TRQSharedDll EXPORT TRQSharedDllTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/trq DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/include/trq/export.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/trq)
install(EXPORT TRQSharedDllTargets NAMESPACE TRQ::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/TRQSharedDll)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/TRQSharedDllConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
configure_package_config_file(cmake/TRQSharedDllConfig.cmake.in
                              ${CMAKE_CURRENT_BINARY_DIR}/TRQSharedDllConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/TRQSharedDll)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/TRQSharedDllConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/TRQSharedDllConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/TRQSharedDll)
