#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <vexonetlink/route.h>

#include "vexo/ipv6/ipv6_config.h"

namespace vexoplatform {

/// Puts a value into a file of /proc/sys/net/ipv6/conf/NAME/ unless it is there already.
/// @return 1 when it was changed, 0 when not, -1 with errno (ENOENT for an interface without
///         IPv6 in the kernel)
int PutIpv6Setting(const std::string& ifname, const char* setting, int value);

/// @return whether a file as above holds the value; false when it cannot be read
bool HasIpv6Setting(const std::string& ifname, const char* setting, int value);

/// Whether the interface has settings of IPv6.
bool HasIpv6(const std::string& ifname);

/// One global IPv6 address of an interface.
struct GlobalAddress {
    Ipv6Address address{};
    bool permanent = false;   ///< it has no lifetime
    bool autonomous = false;  ///< the kernel made it of an advertised prefix
    bool configured = false;  ///< PutIpv6Address has put it there, maybe in another process's life
};

/// @return the addresses of global scope of an interface in the kernel's order, or nothing with
/// errno
std::optional<std::vector<GlobalAddress>> ListGlobalAddresses(unsigned index);

/// Puts a permanent address on an interface and marks it as one that the ifcfg file names.
/// @return 0, or -1 with errno
int PutIpv6Address(unsigned index, const Ipv6Address& address);

/// @return 0, also when it is already gone; -1 with errno
int RemoveIpv6Address(unsigned index, const Ipv6Address& address);

/// @return the routes of the main table over an interface that the kernel has made of
///         advertisements, or nothing with errno
std::optional<std::vector<vexonetlink::Route>> ListAdvertisedRoutes(unsigned index);

/// @return 0, also when it is already gone; -1 with errno
int RemoveAdvertisedRoute(const vexonetlink::Route& route);

/// Asks the routers of a link to advertise now (RFC 4861, 6.3.7): the kernel by itself asks only
/// when an interface comes up, and the next advertisement may be half an hour away.
/// @return 0, or -1 with errno
int SolicitRouters(unsigned index);

}  // namespace vexoplatform
