#pragma once

#include <string>

namespace vexo::network::ipv6::router {

/// Whether LANs can be given parts of a prefix, ADDRESS/LENGTH: it has 16 to 64 bits, is neither
/// multicast, link-local nor among the reserved ones of ::/8, and of 2002::/16 it is somebody's
/// own (RFC 3056, at least 48 bits). What is behind the length does not count.
bool IsRoutedPrefix(const std::string& addressLength);

}  // namespace vexo::network::ipv6::router
