# Install layout (Debian conventions) and the .deb package.
#   /usr/lib/<multiarch>/vor/libvor.so   the module: private to its hosts, no SONAME
#   /usr/bin/vorctl                      the tool, which finds the module above
#   /usr/include/vor/                    ABI headers, with CMake and pkg-config files
include(CMakePackageConfigHelpers)

set(VOR_MODULE_DIR ${CMAKE_INSTALL_LIBDIR}/vor)

configure_file(${PROJECT_SOURCE_DIR}/cmake/vor.pc.in ${PROJECT_BINARY_DIR}/vor.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vor.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/vorConfig.cmake.in
  ${PROJECT_BINARY_DIR}/vorConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vor
  PATH_VARS CMAKE_INSTALL_INCLUDEDIR VOR_MODULE_DIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vorConfigVersion.cmake
  COMPATIBILITY SameMajorVersion ARCH_INDEPENDENT)
install(FILES ${PROJECT_BINARY_DIR}/vorConfig.cmake ${PROJECT_BINARY_DIR}/vorConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vor)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vor)
set(CPACK_PACKAGE_VENDOR "Velmorant Lab")
set(CPACK_PACKAGE_CONTACT "Velmorant Lab <vor@velmorant.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "critical OS object detection module, its ABI headers and vorctl")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6 (>= 2.34), libstdc++6 (>= 12), libgcc-s1, libpugixml1v5")
include(CPack)
