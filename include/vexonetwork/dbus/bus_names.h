#pragma once

namespace vexonetwork::dbus {

/// Where the daemon is met. Name, path and interface are the same for every caller; which bus it
/// is, is decided by DBUS_SESSION_BUS_ADDRESS.
inline constexpr char kBusName[] = "com.vexo.network";
inline constexpr char kInterfaceName[] = "com.vexo.network";
inline constexpr char kObjectPath[] = "/";
inline constexpr int kBusType = 0;  ///< DBUS_BUS_SESSION

}  // namespace vexonetwork::dbus
