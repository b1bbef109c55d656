# Packages of the build: Debian's, one a component, and a ZIP file for Windows. scripts/package makes all of them.
set(CPACK_PACKAGE_NAME trqshareddll)
set(CPACK_PACKAGE_VENDOR "TRQSharedDll")
# Each package has a summary of its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_CONTACT "TRQSharedDll maintainers <maintainers@trqshareddll.example>")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_THREADS 0)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                                WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL runtime development)
if(TRQ_BUILD_TOOL)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
if(TARGET trqprep_python)
  # Where Debian's Python looks for modules; the component `python` is for wheels, which bring the library along.
  set(folder lib/python3/dist-packages/trqprep)
  install(TARGETS trqprep_python LIBRARY DESTINATION ${folder} COMPONENT module EXCLUDE_FROM_ALL)
  install(DIRECTORY ${CMAKE_BINARY_DIR}/python/trqprep/ DESTINATION ${folder} COMPONENT module EXCLUDE_FROM_ALL
          FILES_MATCHING PATTERN "*.py" PATTERN "*.pyi" PATTERN "py.typed")
  list(APPEND CPACK_COMPONENTS_ALL module)
endif()
if(TRQ_SITE)
  list(APPEND CPACK_COMPONENTS_ALL documentation)
  install(DIRECTORY ${TRQ_SITE}/ DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/trqprep-doc/html COMPONENT documentation)
endif()

if(WIN32)
  # Everything in one file: the DLL, its import library and headers, the tool.
  set(CPACK_GENERATOR ZIP)
  set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)
  set(CPACK_PACKAGE_FILE_NAME trqshareddll-${PROJECT_VERSION}-windows-${CMAKE_SYSTEM_PROCESSOR})
else()
  set(CPACK_GENERATOR DEB)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The tool is linked to the library of this build.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
# Copyright, changes, compressed pages.
set(CPACK_TRQ_DEBIAN ${PROJECT_SOURCE_DIR}/packaging/debian)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/debian/complete.cmake)

# trq_package(COMPONENT NAME SECTION SUMMARY DESCRIPTION): what a package is called and says of itself.
macro(trq_package component name section summary description)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${description}")
endmacro()

get_target_property(trq_soversion TRQSharedDll SOVERSION)
set(trq_runtime "libtrqshareddll${trq_soversion} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

trq_package(runtime libtrqshareddll${trq_soversion} libs "build preparation for stereolithography (library)"
"The shared library that holds meshes, build styles, recoat styles and the
build platform of a stereolithography machine, for applications that use it.")
# What packages depend on that are linked to the library; the dynamic linker hears of it.
set(control ${CMAKE_CURRENT_BINARY_DIR}/debian)
file(WRITE ${control}/shlibs "libTRQSharedDll ${trq_soversion} libtrqshareddll${trq_soversion} (>= ${PROJECT_VERSION})\n")
file(WRITE ${control}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${control}/shlibs ${control}/triggers)

trq_package(development libtrqshareddll-dev libdevel "build preparation for stereolithography (development)"
"Headers and what CMake and pkg-config need to build programs with the library:
find_package(TRQSharedDll) gives TRQ::SharedDll, find_package(TRQPrep) gives
TRQ::Prep, with which programs make whole builds. pkg-config knows the library
as trqshareddll.")
# The archives of TRQ::Prep are linked with these.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${trq_runtime}, libc6-dev, libfmt-dev, libmeshoptimizer-dev, libpng-dev, \
libpolyclipping-dev, nettle-dev, zlib1g-dev")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "pkg-config, trqprep-doc")

trq_package(tool trqprep utils "build preparation for stereolithography (command line)"
"Checks and repairs STL files, places parts in a vat, slices them, estimates
resin and time, and writes build folders that can be verified and made again.
Looks at build styles and recoat styles and changes them. Comes with completion
for three shells, thumbnails for file managers, schemas of all documents and
examples.")
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${trq_runtime}")
set(CPACK_DEBIAN_TOOL_PACKAGE_SUGGESTS "trqprep-doc")

trq_package(module python3-trqprep python "build preparation for stereolithography (Python)"
"The module trqprep: meshes as arrays of numpy, styles, slices, placement and
whole builds from a script or a notebook.")
set(CPACK_DEBIAN_MODULE_PACKAGE_DEPENDS "${trq_runtime}, python3 (>= 3.11), python3 (<< 3.12), python3-numpy")
# Compiled forms of the module come and go with it.
set(CPACK_DEBIAN_MODULE_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/module/postinst
                                              ${PROJECT_SOURCE_DIR}/packaging/debian/module/prerm)

trq_package(documentation trqprep-doc doc "build preparation for stereolithography (documentation)"
"A tutorial, how-tos, the reference of the tool, of its files and documents, and
the C++ reference, as pages for any browser.")
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SHLIBDEPS OFF)

include(CPack)
