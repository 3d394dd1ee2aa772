#pragma once

namespace vexonetwork::dbus {

/// Where the daemon is met. The bus is the appliance's own, unix:path=/run/vexonet/bus, unless
/// DBUS_SESSION_BUS_ADDRESS names another at this process's first connection.
inline constexpr char kBusName[] = "com.vexo.network";
inline constexpr char kInterfaceName[] = "com.vexo.network";
inline constexpr char kObjectPath[] = "/";
inline constexpr int kBusType = 0;  ///< DBUS_BUS_SESSION

}  // namespace vexonetwork::dbus
