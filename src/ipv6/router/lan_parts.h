#pragma once

#include <optional>
#include <string>
#include <vector>

#include <vexobase/ip_prefix.h>

namespace vexo::network::ipv6::router {

inline constexpr int kLanLength = 64;

/// The prefix of a text that is IsRoutedPrefix; nothing for any other.
std::optional<vexobase::IpPrefix> ParseRoutedPrefix(const std::string& addressLength);

/// The /64 that an address, written alone, is in.
std::optional<vexobase::IpPrefix> ParseLanPrefix(const std::string& address);

/// The /64s that are handed out of a prefix, the first one first: itself, or the first two. Their
/// places in this list are what LANs keep when the prefix changes.
std::vector<vexobase::IpPrefix> LanParts(const vexobase::IpPrefix& prefix);

}  // namespace vexo::network::ipv6::router
