#pragma once

#include <cstdlib>
#include <string>

namespace vexobase {

/// Where the appliance's own message bus listens.
inline constexpr char kApplianceBus[] = "unix:path=/run/vexonet/bus";

/// The D-Bus address that this process uses for its session bus: DBUS_SESSION_BUS_ADDRESS as it is
/// at the first call, or the appliance's bus when that is unset or empty. From any thread; the
/// environment is read once, since another thread may be changing it later on. A program with
/// more rights than its caller does not heed the variable.
inline const std::string& BusAddress() {
    static const std::string address = [] {
        const char* own = ::secure_getenv("DBUS_SESSION_BUS_ADDRESS");
        return std::string(own != nullptr && *own != '\0' ? own : kApplianceBus);
    }();
    return address;
}

}  // namespace vexobase
