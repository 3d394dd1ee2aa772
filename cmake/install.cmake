include(CMakePackageConfigHelpers)

# Two components, two Debian packages: runtime for an appliance, dev for who builds against it.

# Programs find the libraries, and these one another, wherever the whole is installed.
set_target_properties(vexonetd vexonet-conflictd vexonetctl PROPERTIES
  INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
set_target_properties(vexonetwork vexoplatform PROPERTIES INSTALL_RPATH "$ORIGIN")

# The headers are C++20.
target_compile_features(vexoplatform PUBLIC cxx_std_20)
install(TARGETS vexonetwork vexoplatform EXPORT vexonetworkTargets
  LIBRARY COMPONENT runtime NAMELINK_COMPONENT dev)
install(DIRECTORY include/vexonetwork platform/include/ TYPE INCLUDE COMPONENT dev)

# find_package(vexonetwork) gives vexonetwork::vexonetwork and vexonetwork::vexoplatform.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vexonetwork)
install(EXPORT vexonetworkTargets NAMESPACE vexonetwork:: DESTINATION ${package_dir} COMPONENT dev)
configure_package_config_file(cmake/vexonetworkConfig.cmake.in
  ${PROJECT_BINARY_DIR}/vexonetworkConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vexonetworkConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/vexonetworkConfig.cmake
  ${PROJECT_BINARY_DIR}/vexonetworkConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT dev)

# Where the prefix is, seen from the file: it is known only when the file is installed.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH PREFIX_FROM_PC
  ${CMAKE_INSTALL_PREFIX}/${pkgconfig_dir} ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/vexonetwork.pc.in ${PROJECT_BINARY_DIR}/vexonetwork.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vexonetwork.pc DESTINATION ${pkgconfig_dir} COMPONENT dev)

install(FILES appliance/bus/vexonet-bus.conf appliance/dhcp/dhclient4.conf
  appliance/dhcp/dhclient6.conf
  DESTINATION ${CMAKE_INSTALL_DATADIR}/vexonetwork)
install(PROGRAMS appliance/dhcp/dhclient4-release appliance/dhcp/dhclient4-script
  appliance/dhcp/dhclient6 appliance/dhcp/dhclient6-script
  DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/vexonetwork)
install(FILES appliance/dhcp/dhclient-functions
  DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/vexonetwork)
install(FILES appliance/debian/copyright docs/appliance.md docs/files.md docs/host-finder.md
  docs/requests.md TYPE DOC)
install(FILES appliance/debian/copyright
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/vexonetwork-dev COMPONENT dev)
install(DIRECTORY appliance/hooks/examples DESTINATION ${CMAKE_INSTALL_DOCDIR}
  USE_SOURCE_PERMISSIONS)
configure_file(cmake/install_appliance.cmake.in ${PROJECT_BINARY_DIR}/install_appliance.cmake @ONLY)
install(SCRIPT ${PROJECT_BINARY_DIR}/install_appliance.cmake COMPONENT runtime)

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL runtime dev)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_VENDOR "vexonetwork developers")
set(CPACK_PACKAGE_CONTACT "vexonetwork developers <root@localhost>")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

set(debian_scripts conffiles postinst postrm prerm)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME vexonetwork)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
  "It keeps ordered lists of gateways for IPv4 and IPv6 and elects the default routes.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION net)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "dbus, iproute2, ndisc6, systemd")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "curl, iputils-ping, isc-dhcp-client, logrotate, radvd")
list(TRANSFORM debian_scripts PREPEND ${PROJECT_SOURCE_DIR}/appliance/debian/
  OUTPUT_VARIABLE CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)

set(CPACK_DEBIAN_DEV_PACKAGE_NAME vexonetwork-dev)
set(CPACK_DEBIAN_DEV_DESCRIPTION
  "Headers, and the files for CMake and pkg-config, to build programs that use it.")
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
  "vexonetwork (= ${PROJECT_VERSION}), libjsoncpp-dev, libdbus-glib-1-dev")
include(CPack)
