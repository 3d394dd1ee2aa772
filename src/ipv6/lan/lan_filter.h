#pragma once

#include <set>
#include <string>
#include <vector>

#include <vexobase/ip_prefix.h>

namespace vexo::network::ipv6::router {

/// Whose hosts are not open to the world.
struct Guarded {
    std::set<std::string> uplinks;             ///< devices that lead to the world
    std::vector<vexobase::IpPrefix> prefixes;  ///< of LANs

    bool operator==(const Guarded&) const = default;
};

/// Lets nobody begin a connection from an uplink to a guarded prefix, but for what RFC 6092 leaves
/// open: answers, the ICMPv6 messages that hosts need (RFC 4890), and IPsec with its key exchange.
/// The rules are a table of our own, `inet vexonet_lan`; all other traffic passes it by, and what
/// others refuse stays refused. Without a prefix there is no table.
/// @return 0, or -1 with a log line
int PutLanFilter(const Guarded& guarded);

/// Whether the table is as PutLanFilter() has left it.
bool IsLanFilterWhole();

/// The rules, as nft(8) takes them; "" without a prefix or an uplink.
std::string LanFilterText(const Guarded& guarded);

}  // namespace vexo::network::ipv6::router
