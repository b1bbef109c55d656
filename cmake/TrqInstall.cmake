# Installation: the library, include/trq and a CMake package that answers find_package(TRQSharedDll).
include(CMakePackageConfigHelpers)
install(TARGETS TRQSharedDll EXPORT TRQSharedDllTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(MINGW)
  # The compiler's runtime, which the DLL and the program that loads it share; it goes beside them.
  get_filename_component(compiler_folder ${CMAKE_CXX_COMPILER} DIRECTORY)
  foreach(name libstdc++-6 libgcc_s_seh-1 libgcc_s_dw2-1 libwinpthread-1)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}.dll
                    OUTPUT_VARIABLE runtime OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT IS_ABSOLUTE "${runtime}")
      set(runtime ${compiler_folder}/${name}.dll)  # where compilers that run on Windows have it
    endif()
    if(EXISTS ${runtime})
      install(FILES ${runtime} DESTINATION ${CMAKE_INSTALL_BINDIR})
    endif()
  endforeach()
endif()
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
