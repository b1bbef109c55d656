# Installation: the library, include/trq, a CMake package that answers find_package(TRQSharedDll) and a pkg-config file.
# Components: runtime, development, tool, module, documentation; a package of a system is one of them.
include(CMakePackageConfigHelpers)

# trq_install_package(NAME EXPORT): installs the CMake package cmake/NAME.cmake.in with the targets of an export set.
function(trq_install_package name export)
  set(folder ${CMAKE_INSTALL_LIBDIR}/cmake/${name})
  install(EXPORT ${export} NAMESPACE TRQ:: DESTINATION ${folder} COMPONENT development)
  write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/${name}ConfigVersion.cmake
                                   COMPATIBILITY SameMajorVersion)
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/${name}Config.cmake.in
                                ${CMAKE_CURRENT_BINARY_DIR}/${name}Config.cmake
                                INSTALL_DESTINATION ${folder})
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}Config.cmake ${CMAKE_CURRENT_BINARY_DIR}/${name}ConfigVersion.cmake
          DESTINATION ${folder} COMPONENT development)
endfunction()

install(TARGETS TRQSharedDll EXPORT TRQSharedDllTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
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
      install(FILES ${runtime} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
    endif()
  endforeach()
endif()
install(DIRECTORY include/trq DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
        FILES_MATCHING PATTERN "*.h")
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/include/trq/export.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/trq COMPONENT development)
trq_install_package(TRQSharedDll TRQSharedDllTargets)

# The file says where it stands by a path from itself: an installation can be moved.
file(RELATIVE_PATH pc_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/trqshareddll.pc.in trqshareddll.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/trqshareddll.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
