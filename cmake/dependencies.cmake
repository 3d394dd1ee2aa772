find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

pkg_check_modules(DBUS REQUIRED IMPORTED_TARGET dbus-1)
pkg_check_modules(DBUS_GLIB REQUIRED IMPORTED_TARGET dbus-glib-1)
pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0 gobject-2.0)
pkg_check_modules(JSONCPP REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(NFTABLES REQUIRED IMPORTED_TARGET libnftables)
pkg_check_modules(SYSTEMD REQUIRED IMPORTED_TARGET libsystemd)

# Of libupnp its XML parser alone: a library of its own without a file for pkg-config.
pkg_check_modules(UPNP REQUIRED IMPORTED_TARGET libupnp)
find_library(IXML_LIBRARY ixml HINTS ${UPNP_LIBRARY_DIRS} REQUIRED)
add_library(vexo_ixml INTERFACE)
target_include_directories(vexo_ixml SYSTEM INTERFACE ${UPNP_INCLUDE_DIRS})
target_link_libraries(vexo_ixml INTERFACE ${IXML_LIBRARY})

find_program(DBUS_BINDING_TOOL dbus-binding-tool REQUIRED)
