#pragma once

#include <netinet/in.h>

#include <optional>
#include <string>

namespace vexoplatform {

struct Ipv6Address {
    in6_addr address;
    int prefix;
};

/// What the ifcfg file of an interface says of IPv6.
struct Ipv6Config {
    bool exists = false;        ///< there is a file
    std::optional<int> method;  ///< VEXO_IPV6_…; nothing when no key tells it
    std::string badMethod;      ///< the word that is none of them; `method` is then empty
    std::string address;        ///< IPV6ADDR, unchecked
    std::string prefix;         ///< IPV6PREFIXLENG, unchecked
    std::string gateway;        ///< IPV6_DEFAULTGW, unchecked
    bool router = false;        ///< IPV6ROUTER=yes…: the appliance advertises or routes there
    bool slave = false;         ///< SLAVE=yes: part of a bond, without addresses of its own
};

/// Whether the kernel could have IPv6 settings for an interface of this name: `all` and `default`
/// are where it keeps those of no interface in particular.
bool HasIpv6Settings(const char* ifname);

/// @return nothing with errno; a missing file is a configuration that says nothing
std::optional<Ipv6Config> ReadIpv6Config(const std::string& ifname);

/// Writes the keys that differ, and no file when none does.
/// @param before  what the file says
/// @return 0, or -1 with errno and the platform's error
int StoreIpv6Config(const std::string& ifname, const Ipv6Config& before, const Ipv6Config& after);

/// @param address  text of a unicast address that is no loopback; link-local ones are allowed
bool IsHostAddress(const std::string& address);

/// The static address; IPV6ADDR and IPV6PREFIXLENG must both make sense.
std::optional<Ipv6Address> StaticAddress(const Ipv6Config& config);

}  // namespace vexoplatform
