#pragma once

#include <linux/filter.h>

#include <set>
#include <vector>

#include "arp_packet.h"

namespace conflictd {

/// A program for SO_ATTACH_FILTER of a packet(7) socket of type SOCK_DGRAM. It passes the ARP
/// packets of IPv4 on Ethernet whose sender has one of the addresses, so that a LAN's usual ARP
/// wakes nobody. With very many addresses it passes those of all senders.
/// @param passProbes  whether probes for one of the addresses pass too
std::vector<sock_filter> ArpFilter(const std::set<Ipv4Address>& addresses, bool passProbes);

}  // namespace conflictd
