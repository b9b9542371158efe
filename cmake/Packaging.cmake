# Install layout (Debian conventions) and the four .deb packages.
#
#   vor           /usr/lib/<multiarch>/vor/libvor.so   the module: private to its
#                                                      hosts, no SONAME, 0644
#                 /usr/bin/vorctl, its manual pages, bash completion, docs
#   libvor-host0  /usr/lib/<multiarch>/libvor-host.so.0*   the reference host
#   libvor-dev    /usr/include/vor/, the libvor-host.so link, the CMake package
#                 (vor::headers, vor::host), the pkg-config files vor, vor-host
#                 and vor_session(3)
#   python3-vor   /usr/lib/python3/dist-packages/vor/, the Python binding over
#                 libvor-host.so.0 (Architecture: all)
#
# Every install() names its component. Build the packages from a Release build
# with the /usr prefix:
#   cmake --preset release && cmake --build --preset release
#   cpack --preset release          # build/release/*.deb
include(CMakePackageConfigHelpers)

set(VOR_MODULE_DIR ${CMAKE_INSTALL_LIBDIR}/vor)
set(VOR_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vor)
set(VOR_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(VOR_DEB_RELEASE 1)
set(VOR_DEB_VERSION ${PROJECT_VERSION}-${VOR_DEB_RELEASE})
set(VOR_DEBIAN_DIR ${PROJECT_SOURCE_DIR}/cmake/debian)
set(VOR_PACKAGING_DIR ${PROJECT_BINARY_DIR}/packaging)

# --- the CMake package: vor::headers and vor::host -------------------------
add_library(vor_headers INTERFACE)
add_library(vor::headers ALIAS vor_headers)
target_include_directories(vor_headers INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(vor_headers INTERFACE ${CMAKE_DL_LIBS})
set_target_properties(vor_headers PROPERTIES EXPORT_NAME headers)
set_target_properties(vor_host PROPERTIES EXPORT_NAME host)
install(TARGETS vor_headers EXPORT vorTargets COMPONENT libvor-dev)
install(EXPORT vorTargets NAMESPACE vor:: DESTINATION ${VOR_CMAKE_DIR} COMPONENT libvor-dev)

# Written twice from one template: for the installed package (every path
# relative to vorConfig.cmake, so it may be moved) and for the build tree
# (cmake -Dvor_DIR=<build folder>: the source headers, the built libraries).
function(vor_cmake_package folder destination prefix includedir moduledir)
  set(VOR_CONFIG_INCLUDEDIR ${includedir})
  set(VOR_CONFIG_MODULEDIR ${moduledir})
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/vorConfig.cmake.in ${folder}/vorConfig.cmake
    INSTALL_DESTINATION ${destination} INSTALL_PREFIX ${prefix}
    PATH_VARS VOR_CONFIG_INCLUDEDIR VOR_CONFIG_MODULEDIR)
  write_basic_package_version_file(${folder}/vorConfigVersion.cmake COMPATIBILITY SameMajorVersion)
endfunction()
vor_cmake_package(${VOR_PACKAGING_DIR} ${VOR_CMAKE_DIR} ${CMAKE_INSTALL_PREFIX}
  ${CMAKE_INSTALL_INCLUDEDIR} ${VOR_MODULE_DIR})
install(FILES ${VOR_PACKAGING_DIR}/vorConfig.cmake ${VOR_PACKAGING_DIR}/vorConfigVersion.cmake
  DESTINATION ${VOR_CMAKE_DIR} COMPONENT libvor-dev)
vor_cmake_package(${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}
  ${PROJECT_SOURCE_DIR}/include ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/vor)
export(EXPORT vorTargets NAMESPACE vor:: FILE ${PROJECT_BINARY_DIR}/vorTargets.cmake)

# --- pkg-config --------------------------------------------------------------
# vor.pc and vor-host.pc, installed, name every directory relative to the .pc
# file itself. Beside them in the build tree stand pkg-config's uninstalled
# variants (vor-uninstalled, vor-host-uninstalled; pkg-config prefers them
# when both are on PKG_CONFIG_PATH): the source headers and the built library,
# which a program so built finds at run time through its RUNPATH.
function(vor_pc_files suffix prefix libdir includedir runpath)
  set(VOR_PC_PREFIX ${prefix})
  set(VOR_PC_LIBDIR ${libdir})
  set(VOR_PC_INCLUDEDIR ${includedir})
  set(VOR_PC_MODULEDIR ${libdir}/vor)
  set(VOR_PC_RUNPATH "${runpath}")
  foreach(pc vor vor-host)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/${pc}.pc.in ${VOR_PACKAGING_DIR}/${pc}${suffix}.pc @ONLY)
  endforeach()
endfunction()
function(vor_pc_relative variable directory)
  file(RELATIVE_PATH relative ${CMAKE_INSTALL_PREFIX}/${VOR_PKGCONFIG_DIR} ${directory})
  string(REGEX REPLACE "/$" "" relative "${relative}")
  set(${variable} "\${pcfiledir}/${relative}" PARENT_SCOPE)
endfunction()
vor_pc_relative(vor_pc_prefix ${CMAKE_INSTALL_PREFIX})
vor_pc_relative(vor_pc_libdir ${CMAKE_INSTALL_FULL_LIBDIR})
vor_pc_relative(vor_pc_includedir ${CMAKE_INSTALL_FULL_INCLUDEDIR})
vor_pc_files("" ${vor_pc_prefix} ${vor_pc_libdir} ${vor_pc_includedir} "")
vor_pc_files(-uninstalled ${PROJECT_BINARY_DIR} ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}
  ${PROJECT_SOURCE_DIR}/include " -Wl,-rpath,\${libdir}")
foreach(pc vor vor-host)
  install(FILES ${VOR_PACKAGING_DIR}/${pc}.pc DESTINATION ${VOR_PKGCONFIG_DIR} COMPONENT libvor-dev)
endforeach()

# --- the Python binding: pure Python, where Debian's python3 finds it -----------
install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/vor DESTINATION lib/python3/dist-packages
  COMPONENT python3-vor FILES_MATCHING PATTERN "*.py" PATTERN "py.typed" PATTERN "__pycache__" EXCLUDE)

# --- documentation, manual pages, completion --------------------------------
install(FILES
  ${PROJECT_SOURCE_DIR}/docs/host-abi.md
  ${PROJECT_SOURCE_DIR}/docs/result-codes.md
  ${PROJECT_SOURCE_DIR}/docs/vor_proc.xms.md
  ${PROJECT_SOURCE_DIR}/docs/vorctl-json.md
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/vor COMPONENT vor)
install(FILES ${PROJECT_SOURCE_DIR}/completion/vorctl.bash
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME vorctl COMPONENT vor)

# Manual pages and the Debian changelog are installed gzipped as Debian wants
# them: -9, and -n so that no name or time stamp makes two builds differ.
find_program(VOR_GZIP gzip REQUIRED)
set(vor_gzipped)
function(vor_gzip source output)
  add_custom_command(OUTPUT ${output}
    COMMAND ${VOR_GZIP} -9nc ${source} > ${output}
    DEPENDS ${source} VERBATIM)
  set(vor_gzipped ${vor_gzipped} ${output} PARENT_SCOPE)
endfunction()
# PAGE=COMPONENT: the tool's pages go with it, the C API's with the headers.
foreach(page_component vorctl.1=vor vor_proc.xms.5=vor vor_session.3=libvor-dev)
  string(REPLACE "=" ";" page_component ${page_component})
  list(GET page_component 0 page)
  list(GET page_component 1 component)
  string(REGEX MATCH "[0-9]$" section ${page})
  vor_gzip(${PROJECT_SOURCE_DIR}/man/${page} ${VOR_PACKAGING_DIR}/${page}.gz)
  install(FILES ${VOR_PACKAGING_DIR}/${page}.gz
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
endforeach()
vor_gzip(${VOR_DEBIAN_DIR}/changelog ${VOR_PACKAGING_DIR}/changelog.Debian.gz)
add_custom_target(vor_packaging_files ALL DEPENDS ${vor_gzipped})

# Each package carries the copyright (DEP-5) and the changelog in its own
# /usr/share/doc/<package>.
file(STRINGS ${VOR_DEBIAN_DIR}/changelog vor_changelog_top LIMIT_COUNT 1)
if(NOT vor_changelog_top MATCHES "^vor \\(${VOR_DEB_VERSION}\\) ")
  message(FATAL_ERROR "cmake/debian/changelog does not start with version ${VOR_DEB_VERSION}: "
                      "add an entry for it")
endif()
set(VOR_COMPONENTS vor libvor-host0 libvor-dev python3-vor)
foreach(component IN LISTS VOR_COMPONENTS)
  install(FILES ${VOR_DEBIAN_DIR}/copyright ${VOR_PACKAGING_DIR}/changelog.Debian.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${component} COMPONENT ${component})
endforeach()

# --- CPack ------------------------------------------------------------------
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  message(STATUS "vor: the Debian packages are laid out for -DCMAKE_INSTALL_PREFIX=/usr")
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vor)
set(CPACK_PACKAGE_VENDOR "Velmorant Lab")
set(CPACK_PACKAGE_CONTACT "Velmorant Lab <vor@velmorant.invalid>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL ${VOR_COMPONENTS})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${VOR_DEB_RELEASE})
set(CPACK_DEBIAN_PACKAGE_SOURCE vor)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# Depends: what dpkg-shlibdeps finds in the ELF files, plus the packages of
# this build at exactly this version. dpkg-shlibdeps runs in each package's
# staging directory: it learns there of the module's private directory, and of
# libvor-host.so.0 in the staging directory of libvor-host0 beside it.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
  ${CPACK_PACKAGING_INSTALL_PREFIX}/${VOR_MODULE_DIR}
  ../libvor-host0${CPACK_PACKAGING_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR})
list(TRANSFORM CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS REPLACE "^/" "")
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_COMPONENT_VOR_DEPENDS libvor-host0)
set(CPACK_COMPONENT_LIBVOR-DEV_DEPENDS libvor-host0 vor)
set(CPACK_COMPONENT_PYTHON3-VOR_DEPENDS libvor-host0)

set(CPACK_DEBIAN_VOR_PACKAGE_NAME vor)
set(CPACK_DEBIAN_VOR_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_VOR_DESCRIPTION [=[critical OS object detection module for anti-malware hosts
libvor is a module that an anti-malware host loads with dlopen to ask
whether a file path or a running process is critical to the operating
system, so that it must never be quarantined, deleted or killed. It answers
from a built-in table of system files expanded for the machine's library
directories, a list of critical processes read from the host's storage,
fixed rules, the OS release and /proc.

This package holds the module, in a private directory, and vorctl, a
command-line tool that loads it to check files and processes, list the
critical file set, validate process lists and explain result codes.]=])

set(CPACK_DEBIAN_LIBVOR-HOST0_PACKAGE_NAME libvor-host0)
set(CPACK_DEBIAN_LIBVOR-HOST0_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBVOR-HOST0_DESCRIPTION [=[reference host library of the libvor module
libvor is a module that an anti-malware host loads with dlopen to ask
whether a file path or a running process is critical to the operating
system.

libvor-host implements every service the module asks of its host over
Linux and pugixml, loads the module, and answers file and process checks
from any number of threads. Its C API lets programs in C and other
languages use the module.]=])
configure_file(${VOR_DEBIAN_DIR}/shlibs.in ${VOR_PACKAGING_DIR}/libvor-host0/shlibs @ONLY)
set(CPACK_DEBIAN_LIBVOR-HOST0_PACKAGE_CONTROL_EXTRA
  ${VOR_PACKAGING_DIR}/libvor-host0/shlibs ${VOR_DEBIAN_DIR}/triggers)

set(CPACK_DEBIAN_LIBVOR-DEV_PACKAGE_NAME libvor-dev)
set(CPACK_DEBIAN_LIBVOR-DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBVOR-DEV_DESCRIPTION [=[development files of the libvor module and its reference host
libvor is a module that an anti-malware host loads with dlopen to ask
whether a file path or a running process is critical to the operating
system.

This package holds the headers of the module's binary interface and of the
libvor-host C API with its manual page vor_session(3), the CMake package
(find_package(vor): vor::headers, vor::host) and the pkg-config files vor
and vor-host.]=])

# What dh_python3 would give a pure Python package, written out: python3 for
# any architecture, scripts that byte-compile on install and clean up on
# removal. The exact libvor-host0 comes from the component dependency above.
set(CPACK_DEBIAN_PYTHON3-VOR_PACKAGE_NAME python3-vor)
set(CPACK_DEBIAN_PYTHON3-VOR_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON3-VOR_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON3-VOR_PACKAGE_DEPENDS "python3:any")
set(CPACK_DEBIAN_PYTHON3-VOR_PACKAGE_CONTROL_EXTRA
  ${VOR_DEBIAN_DIR}/python3-vor/postinst ${VOR_DEBIAN_DIR}/python3-vor/prerm)
set(CPACK_DEBIAN_PYTHON3-VOR_DESCRIPTION [=[Python binding of the libvor module's reference host
libvor is a module that an anti-malware host loads with dlopen to ask
whether a file path or a running process is critical to the operating
system.

This package holds the Python module vor: sessions of libvor-host through
ctypes, with file, pid and pidfd checks, their explanations, reloads of the
process list and failures raised as vor.Error.]=])

# CPack writes ldconfig calls into postinst and postrm of a package with a
# library in /usr/lib; the triggers file above does that job the Debian way.
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/DropLdconfigScripts.cmake)

include(CPack)
