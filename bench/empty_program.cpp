// The raw limit of the daemon's memory and start: a program that links the same libraries, owns a
// name on the bus, says that it is ready and waits.

#include <dbus/dbus.h>
#include <systemd/sd-daemon.h>

#include <vexobase/bus_address.h>

int main() {
    DBusConnection* connection = dbus_connection_open(vexobase::BusAddress().c_str(), nullptr);
    if (connection == nullptr || !dbus_bus_register(connection, nullptr)
        || dbus_bus_request_name(connection, "com.vexo.network", DBUS_NAME_FLAG_DO_NOT_QUEUE,
                                 nullptr)
               != DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER) {
        return 1;
    }
    sd_notify(0, "READY=1");
    while (dbus_connection_read_write_dispatch(connection, -1)) {
    }
    return 0;
}
