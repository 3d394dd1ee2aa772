find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

pkg_check_modules(DBUS REQUIRED IMPORTED_TARGET dbus-1)
pkg_check_modules(DBUS_GLIB REQUIRED IMPORTED_TARGET dbus-glib-1)
pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0 gobject-2.0)
pkg_check_modules(JSONCPP REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(MNL REQUIRED IMPORTED_TARGET libmnl)
pkg_check_modules(SYSTEMD REQUIRED IMPORTED_TARGET libsystemd)

find_program(DBUS_BINDING_TOOL dbus-binding-tool REQUIRED)
