#pragma once

#include <optional>
#include <string>

namespace vexo::network::ipv6::router {

/// The type of the gateway lists that routers stand in.
inline constexpr char kGatewayType[] = "GTYPE_V6";

/// The device of a tunnel over a WAN.
inline std::string TunnelDevice(const std::string& wan) {
    return "6in4-" + wan;
}

/// Whether an interface's files may be looked for: no WAN at all is as good as a name that the
/// kernel could have, any other might lead out of their folder.
bool HasFiles(const std::string& wan);

/// The priority to ask for in the list of gateways.
inline int WantedPriority(bool isDefaultGateway) {
    return isDefaultGateway ? 0 : -1;
}

/// ADDRESS/LENGTH in its two parts.
struct AddressLength {
    std::string address;
    std::optional<int> length;  ///< nothing without a slash, -1 when it is no number from 0
};

AddressLength SplitAddress(const std::string& text);

}  // namespace vexo::network::ipv6::router
