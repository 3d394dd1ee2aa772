#pragma once

#include <string>

namespace vexonetwork::network {

/// Whether an interface is administratively up and its link is running (IFF_UP and IFF_RUNNING of
/// netdevice(7)). Only the first 15 characters of the name count; false for an unknown interface.
bool IsEthernetLinkDetected(const std::string& ifname);

/// Turns an IPv4 address and a netmask into the platform's subnet text ("192.168.1.0/24").
/// @param subnet  takes the text; unchanged on failure
/// @return 0 or -1
int GetSubnetFormat(const std::string& ip, const std::string& mask, std::string& subnet);

}  // namespace vexonetwork::network
