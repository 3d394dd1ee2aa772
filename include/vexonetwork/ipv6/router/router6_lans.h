#pragma once

namespace vexo::network::ipv6::router {

/// Brings routers and LANs in step, after whatever has changed one of them, and at the start:
///
/// - A router of type "native" gets the prefix that its DHCPv6 client holds. Where a prefix has
///   become another, the LANs' parts of it become the same parts of the new one.
/// - A LAN that has got a /64 has its first address, PREFIX::1, and radvd announces the /64 there
///   (RFC 4861, RFC 4862). What a LAN has no longer is taken back, and for two hours its hosts are
///   told to let it go, for as long as other prefixes are announced.
/// - Of each router's prefix, what no LAN has is unreachable.
///
/// LANs keep their places in a router's prefix, the first or the second /64, over boots and while
/// it has none or has room for one. What belongs to a router that is unknown stays: its file cannot
/// be read whole, or its PPPoE connection is down. What is so already is not touched. A LAN whose
/// interface is not there waits for the next call. Takes the Router6Lock.
/// @return 0, or -1 with a log line for each thing that is unknown or could not be done; the others
///         are
int ApplyRouter6Lans();

}  // namespace vexo::network::ipv6::router
