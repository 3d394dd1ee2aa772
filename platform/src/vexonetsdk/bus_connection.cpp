#include "vexonetsdk/bus_connection.h"

#include <vexobase/bus_address.h>

namespace vexonetsdk::dbus {

namespace {

DBusConnection* OpenSessionBus(BusError& error) {
    DBusConnection* connection =
        dbus_connection_open_private(vexobase::BusAddress().c_str(), error.Get());
    if (connection != nullptr && !dbus_bus_register(connection, error.Get())) {
        CloseBus(connection);
        return nullptr;
    }
    return connection;
}

}  // namespace

DBusConnection* OpenBus(int busType, BusError& error) {
    dbus_threads_init_default();
    // Asked for its session bus, the D-Bus library would go by the environment and start a bus of
    // its own where that names none.
    DBusConnection* connection =
        busType == DBUS_BUS_SESSION
            ? OpenSessionBus(error)
            : dbus_bus_get_private(static_cast<DBusBusType>(busType), error.Get());
    if (connection != nullptr) {
        dbus_connection_set_exit_on_disconnect(connection, false);
    }
    return connection;
}

void CloseBus(DBusConnection* connection) {
    if (connection != nullptr) {
        dbus_connection_close(connection);
        dbus_connection_unref(connection);
    }
}

}  // namespace vexonetsdk::dbus
