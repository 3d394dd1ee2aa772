#pragma once

#include <dbus/dbus.h>

#include <string>

namespace vexonetsdk::dbus {

/// Why a call of the D-Bus library failed.
class BusError {
  public:
    BusError() { dbus_error_init(&error); }
    ~BusError() { dbus_error_free(&error); }
    BusError(const BusError&) = delete;
    BusError& operator=(const BusError&) = delete;

    DBusError* Get() { return &error; }
    bool IsSet() const { return dbus_error_is_set(&error); }
    std::string Text() const {
        return error.message == nullptr || *error.message == '\0' ? "no reason given"
                                                                  : error.message;
    }

  private:
    DBusError error{};
};

/// Opens a connection of the caller's own and registers it with the bus. The session bus is the one
/// of vexobase::BusAddress. The end of the bus does not end the process.
/// @param busType  a DBusBusType
/// @return the connection, to be given to CloseBus; null with `error` set
DBusConnection* OpenBus(int busType, BusError& error);

/// Closes what OpenBus has returned; null is allowed.
void CloseBus(DBusConnection* connection);

}  // namespace vexonetsdk::dbus
