#pragma once

#include <sys/socket.h>

#include <array>
#include <cstddef>

#include <vexonetwork/network/gateway_info.h>

namespace vexonetwork::network::module {

/// What differs between the two gateway lists.
struct GatewayFamily {
    const char* name;      ///< in requests
    const char* protocol;  ///< in change hooks
    const char* gatewayKey;
    const char* dnsKey;
    const char* priorityFile;
    const char* resolverFile;
    const char* dormantFile;
    const char* formerFile;  ///< gone after a boot, as are the routes that it tells of
    int number;              ///< AF_…
};

inline constexpr std::array<GatewayFamily, 2> kGatewayFamilies{{
    {"GTYPE_V4", "ipv4", "gateway", "dns", "/etc/iproute2/config/gateway_v4_priority",
     "/etc/iproute2/config/resolv4.conf", "/etc/iproute2/config/gateway_v4_dormant",
     "/run/vexonetd.former_v4", AF_INET},
    {"GTYPE_V6", "ipv6", "gateway_v6", "dns_v6", "/etc/iproute2/config/gateway_v6_priority",
     "/etc/iproute2/config/resolv6.conf", "/etc/iproute2/config/gateway_v6_dormant",
     "/run/vexonetd.former_v6", AF_INET6},
}};

inline constexpr char kGatewayDatabase[] = "/etc/iproute2/config/gateway_database";

/// @return null for a value that is no family
inline const GatewayFamily* FindFamily(GATEWAY_TYPE type) {
    const auto index = static_cast<std::size_t>(type);
    return index < kGatewayFamilies.size() ? &kGatewayFamilies[index] : nullptr;
}

}  // namespace vexonetwork::network::module
