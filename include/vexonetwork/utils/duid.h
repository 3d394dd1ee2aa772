#pragma once

#include <string>

namespace vexonetwork::utils {

/// The appliance's DHCPv6 identifier, a DUID-LL of eth0 (RFC 8415, 11.4), as DHCP clients have it
/// in their configuration: "\x00\x03\x00\x01\x52\x54…", four characters for a byte.
/// @return "" when there is no eth0
std::string GenDUID();

}  // namespace vexonetwork::utils
