#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>

#include <vexonetwork/ipv6/router/router6_base.h>

namespace vexo::network::ipv6::router {

/// Makes routers of what callers ask for or what is configured. Members of JSON objects that have
/// another type than a string, or a bool, count as missing; nothing is thrown. Results are the
/// caller's to delete; each null but that of "off" is explained in the system log. Texts are to be
/// given as std::string, for a literal could be JSON too.
class Router6Factory {
  public:
    /// What is configured for the WAN that the request names in "wan".
    Router6Base* newRouterV6Instance(const Json::Value& request);

    /// What is configured for a WAN whose IPv4 address has become `ipv4`, which a 6to4 router's
    /// addresses are made of.
    Router6Base* newRouterV6Instance(const std::string& wan, const std::string& ipv4);

    /// A new set-up. A member "open" that is true makes its LANs open to the world.
    /// @param type  "6in4", "6to4", "native", or "off", which makes no router and is no error
    Router6Base* newRouterV6Instance(const std::string& type, const Json::Value& attrs);

    /// A router of these attributes if they are valid; see Router6Base::ValidateAttr.
    Router6Base* newRouterV6InstanceImpl(const Router6Attr& attr);

    // Attributes of a caller's JSON, or null.

    /// "wan"; "is_default_gateway" may be missing.
    Router6Attr* newDHCPPDAttr(const Json::Value& json);

    /// "wan", which must have an IPv4 address, "prefix", "remote_addr_v4" and "local_addr_v6";
    /// "is_default_gateway" may be missing.
    Router6Attr* new6in4Attr(const Json::Value& json);

    /// "wan", which must have a public IPv4 address; "is_default_gateway" may be missing.
    Router6Attr* new6to4Attr(const Json::Value& json);

    /// Puts the octets of an IPv4 address, as two hexadecimal digits each, where `format` has
    /// "%02x".
    /// @return "" when it is none
    static std::string gen6to4Info(const std::string& ipv4, const char* format);

    /// 0, or 2 once a type was unknown or attributes were not valid.
    std::int32_t GetError() const { return error; }

  private:
    std::int32_t error = 0;
};

}  // namespace vexo::network::ipv6::router
