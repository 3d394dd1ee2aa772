include(CMakePackageConfigHelpers)

install(TARGETS vexonetwork vexoplatform EXPORT vexonetworkTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/vexonetwork TYPE INCLUDE)
install(DIRECTORY platform/include/ TYPE INCLUDE)

# find_package(vexonetwork) gives vexonetwork::vexonetwork and vexonetwork::vexoplatform.
install(EXPORT vexonetworkTargets NAMESPACE vexonetwork::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vexonetwork)
configure_package_config_file(cmake/vexonetworkConfig.cmake.in
  ${PROJECT_BINARY_DIR}/vexonetworkConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vexonetwork)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vexonetworkConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/vexonetworkConfig.cmake
  ${PROJECT_BINARY_DIR}/vexonetworkConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vexonetwork)

configure_file(cmake/vexonetwork.pc.in ${PROJECT_BINARY_DIR}/vexonetwork.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vexonetwork.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES appliance/bus/vexonet-bus.conf DESTINATION share/vexonetwork)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vexonetwork)
set(CPACK_PACKAGE_VENDOR "vexonetwork developers")
set(CPACK_PACKAGE_CONTACT "vexonetwork developers <root@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "dbus, iproute2")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
include(CPack)
