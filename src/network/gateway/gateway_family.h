#pragma once

#include <json/value.h>

#include <array>
#include <cstddef>
#include <optional>

#include <vexonetwork/network/module/route_module.h>
#include <vexonetwork/utils/json_reader.h>

namespace vexonetwork::network::module {

/// What differs between the two gateway lists.
struct GatewayFamily {
    const char* name;      ///< in requests
    const char* protocol;  ///< in change hooks
    const char* gatewayKey;
    const char* dnsKey;
    const char* priorityFile;
    const char* resolverFile;
};

inline constexpr std::array<GatewayFamily, 2> kGatewayFamilies{{
    {"GTYPE_V4", "ipv4", "gateway", "dns", "/etc/iproute2/config/gateway_v4_priority",
     "/etc/iproute2/config/resolv4.conf"},
    {"GTYPE_V6", "ipv6", "gateway_v6", "dns_v6", "/etc/iproute2/config/gateway_v6_priority",
     "/etc/iproute2/config/resolv6.conf"},
}};

inline constexpr char kGatewayDatabase[] = "/etc/iproute2/config/gateway_database";

/// @return null for a value that is no family
inline const GatewayFamily* FindFamily(GATEWAY_TYPE type) {
    const auto index = static_cast<std::size_t>(type);
    return index < kGatewayFamilies.size() ? &kGatewayFamilies[index] : nullptr;
}

/// The family named by a request's "type"; nothing when it names none.
inline std::optional<GATEWAY_TYPE> ReadType(const Json::Value& request) {
    const auto name = utils::GetString(request, "type");
    for (const GATEWAY_TYPE type : {GTYPE_V4, GTYPE_V6}) {
        if (name == FindFamily(type)->name) {
            return type;
        }
    }
    return std::nullopt;
}

}  // namespace vexonetwork::network::module
