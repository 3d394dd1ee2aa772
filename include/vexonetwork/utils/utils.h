#pragma once

#include <json/value.h>

#include <string>

namespace vexonetwork::network {

/// Whether an interface is administratively up and its link is running (IFF_UP and IFF_RUNNING of
/// netdevice(7)). Only the first 15 characters of the name count; false for an unknown interface.
bool IsEthernetLinkDetected(const std::string& ifname);

/// Turns an IPv4 address and a netmask into the platform's subnet text ("192.168.1.0/24").
/// @param subnet  takes the text; unchanged on failure
/// @return 0 or -1
int GetSubnetFormat(const std::string& ip, const std::string& mask, std::string& subnet);

/// Keeps the entries of a gateway list, as the daemon tells it, that are of one kind, in their
/// order. Slaves are of none.
/// @param type  "wan": may carry the default route and have a gateway; "ethernet": of that class
///              or named eth..., but not wlan..., which an administrator may have classed so;
///              "wlan": of that class or named wlan...; of any other kind, which is logged, there
///              are no entries
/// @param list  an array, empty without entries; entries of another form than the daemon's go
void FilterList(std::string type, Json::Value& list);

}  // namespace vexonetwork::network
