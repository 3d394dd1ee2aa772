#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <vexonetwork/network/module/route_module.h>

namespace vexonetwork::network::module {

/// Why an entry is tried or passed over.
enum class Verdict { TRY, SLAVE, NO_LINK, NO_GATEWAY, NO_INTERFACE };

/// What the election asks about an interface, and only about those whose entry leaves the
/// question open.
struct InterfaceFacts {
    std::function<bool(const std::string& ifname)> hasLink;
    std::function<bool(const std::string& ifname)> exists;
};

/// Whether an entry may carry the default route. IPv6 needs neither a gateway, as a device-only
/// route will do, nor the facts of the interface's IPv4 address.
Verdict Judge(GATEWAY_TYPE type, const GatewayInfo& entry, const InterfaceFacts& facts);

/// Tries the entries in order, until `install` has given one of them the default route.
/// @return the index of the winner
std::optional<std::size_t> Elect(GATEWAY_TYPE type, const std::vector<GatewayInfo>& gateways,
                                 const InterfaceFacts& facts,
                                 const std::function<bool(const GatewayInfo&)>& install);

}  // namespace vexonetwork::network::module
