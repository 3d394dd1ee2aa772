#pragma once

#include <cstdlib>

namespace vexonetwork::dbus {

/// Where the appliance's own message bus listens.
inline constexpr char kBusAddress[] = "unix:path=/run/vexonet/bus";

/// Points this process at the appliance's bus unless DBUS_SESSION_BUS_ADDRESS names another. To
/// be called before the first connection, while there is one thread.
/// @return the address in force
inline const char* UseApplianceBus() {
    constexpr char kVariable[] = "DBUS_SESSION_BUS_ADDRESS";
    const char* address = std::getenv(kVariable);
    if (address != nullptr && *address != '\0') {
        return address;
    }
    // Fails only without memory; the bus library then says that it finds no bus.
    ::setenv(kVariable, kBusAddress, 1);
    return kBusAddress;
}

}  // namespace vexonetwork::dbus
