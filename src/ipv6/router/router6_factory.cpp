#include <cstdio>
#include <memory>
#include <optional>

#include <vexo/net_interface.h>
#include <vexobase/log.h>
#include <vexonetwork/ipv6/router/dhcp_pd.h>
#include <vexonetwork/ipv6/router/router6_factory.h>
#include <vexonetwork/ipv6/router/tunnel_6in4.h>
#include <vexonetwork/utils/ip_address.h>
#include <vexonetwork/utils/json_reader.h>
#include <vlib/net.h>

#include "ipv6/router/router_names.h"

namespace vexo::network::ipv6::router {

namespace {

using vexonetwork::utils::GetBool;
using vexonetwork::utils::GetString;

constexpr std::int32_t kBadAttributes = 2;
constexpr char kRelay[] = "192.88.99.1";  // RFC 3068
constexpr char kLocal6to4[] = "2002:%02x%02x:%02x%02x::1/16";
constexpr char kPrefix6to4[] = "2002:%02x%02x:%02x%02x::/48";

std::optional<std::string> GetRequired(const Json::Value& json, const char* key) {
    auto value = GetString(json, key);
    if (!value) {
        VEXO_LOG(LOG_ERR, "Missing field: %s", key);
    }
    return value;
}

bool IsDefaultGateway(const Json::Value& json) {
    return GetBool(json, "is_default_gateway").value_or(false);
}

/// The first IPv4 address of a WAN, or "".
std::string FirstIPv4Address(const std::string& wan) {
    using vexonetwork::utils::IPAddress;
    const auto addresses = IPAddress::GetIPv4Address(Router6Attr::ConvertInterface(wan));
    return addresses.empty() ? "" : addresses.front().first;
}

std::unique_ptr<Router6Base> MakeRouter(const Router6Attr& attr) {
    if (attr.type == "native") {
        return std::make_unique<DHCPPD>(attr);
    }
    if (attr.type == "6in4" || attr.type == "6to4") {
        return std::make_unique<Tunnel6in4>(attr);
    }
    return nullptr;
}

}  // namespace

Router6Base* Router6Factory::newRouterV6InstanceImpl(const Router6Attr& attr) {
    if (attr.type == "off") {
        VEXO_LOG(LOG_INFO, "No existing ipv6 router config");
        return nullptr;
    }
    auto router = MakeRouter(attr);
    if (!router) {
        VEXO_LOG(LOG_ERR, "Bad type: %s, should not reach here", attr.type.c_str());
        error = kBadAttributes;
        return nullptr;
    }
    if (!router->ValidateAttr()) {
        VEXO_LOG(LOG_ERR, "Failed to validate attr, possiblely wrong parameters?");
        error = kBadAttributes;
        return nullptr;
    }
    return router.release();
}

Router6Base* Router6Factory::newRouterV6Instance(const std::string& type,
                                                 const Json::Value& attrs) {
    if (type == "off") {
        return nullptr;
    }
    std::unique_ptr<Router6Attr> attr;
    if (type == "6in4") {
        attr.reset(new6in4Attr(attrs));
    } else if (type == "6to4") {
        attr.reset(new6to4Attr(attrs));
    } else if (type == "native") {
        attr.reset(newDHCPPDAttr(attrs));
    } else {
        VEXO_LOG(LOG_ERR, "Bad type: %s", type.c_str());
    }
    if (!attr) {
        error = kBadAttributes;
        return nullptr;
    }
    attr->is_open = GetBool(attrs, "open").value_or(false);
    return newRouterV6InstanceImpl(*attr);
}

Router6Base* Router6Factory::newRouterV6Instance(const Json::Value& request) {
    const auto wan = GetRequired(request, "wan");
    if (!wan) {
        error = kBadAttributes;
        return nullptr;
    }
    Router6Attr attr;
    attr.wan = *wan;
    attr.LoadConfig();
    return newRouterV6InstanceImpl(attr);
}

Router6Base* Router6Factory::newRouterV6Instance(const std::string& wan, const std::string& ipv4) {
    Router6Attr attr;
    attr.wan = wan;
    if (attr.LoadConfig() != 0) {
        VEXO_LOG(LOG_ERR, "No IPv6 router config for %s available", wan.c_str());
        return nullptr;
    }
    if (attr.type == "6to4") {
        attr.prefix = gen6to4Info(ipv4, kPrefix6to4);
        attr.local_addr_v6 = gen6to4Info(ipv4, kLocal6to4);
        // Packets from the former address would not come back.
        attr.local_addr_v4 = ipv4;
    }
    return newRouterV6InstanceImpl(attr);
}

Router6Attr* Router6Factory::newDHCPPDAttr(const Json::Value& json) {
    const auto wan = GetRequired(json, "wan");
    return wan ? std::make_unique<Router6Attr>(*wan, IsDefaultGateway(json)).release() : nullptr;
}

Router6Attr* Router6Factory::new6in4Attr(const Json::Value& json) {
    auto attr = std::make_unique<Router6Attr>();
    attr->type = "6in4";
    for (const auto& [key, field] : {std::pair{"wan", &Router6Attr::wan},
                                     {"prefix", &Router6Attr::prefix},
                                     {"remote_addr_v4", &Router6Attr::remote_addr_v4},
                                     {"local_addr_v6", &Router6Attr::local_addr_v6}}) {
        auto value = GetRequired(json, key);
        if (!value) {
            return nullptr;
        }
        (*attr).*field = std::move(*value);
    }
    attr->is_default_gateway = IsDefaultGateway(json);
    attr->local_addr_v4 = FirstIPv4Address(attr->wan);
    if (attr->local_addr_v4.empty()) {
        VEXO_LOG(LOG_ERR, "There are not have any IPv4 address on %s.", attr->wan.c_str());
        return nullptr;
    }
    return attr.release();
}

Router6Attr* Router6Factory::new6to4Attr(const Json::Value& json) {
    const std::string wan = GetString(json, "wan").value_or("");
    const std::string ipv4 = FirstIPv4Address(wan);
    if (ipv4.empty() || VEXONetIsPrivateIP(ipv4.c_str()) != 0) {
        VEXO_LOG(LOG_ERR, "Unable to retrieve public IPv4 on %s", wan.c_str());
        return nullptr;
    }
    Json::Value config;
    config["wan"] = wan;
    config["is_default_gateway"] = IsDefaultGateway(json);
    config["remote_addr_v4"] = kRelay;
    config["local_addr_v6"] = gen6to4Info(ipv4, kLocal6to4);
    config["prefix"] = gen6to4Info(ipv4, kPrefix6to4);
    std::unique_ptr<Router6Attr> attr(new6in4Attr(config));
    if (attr) {
        attr->type = "6to4";
    }
    return attr.release();
}

std::string Router6Factory::gen6to4Info(const std::string& ipv4, const char* format) {
    int octets[4] = {};
    if (cVLIBISepIP(ipv4.c_str(), octets) != 4) {
        VEXO_LOG(LOG_ERR, "Failed to parse local v4 IPaddr [%s]", ipv4.c_str());
        return "";
    }
    // Not through printf, which would believe whatever else the format asks for.
    constexpr char kPlace[] = "%02x";
    std::string text = format;
    for (const int octet : octets) {
        const auto place = text.find(kPlace);
        if (place == text.npos) {
            break;
        }
        char digits[3] = {};
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(octet) & 0xFFU);
        text.replace(place, sizeof kPlace - 1, digits);
    }
    return text;
}

}  // namespace vexo::network::ipv6::router
