#pragma once

#include <netinet/in.h>

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include <vexonetlink/link.h>

namespace vexoplatform {

using vexonetlink::Link;

/// RFC 2863 ifOperStatus; whatever is neither up nor unknown is down.
enum class OperState { kUnknown, kDown, kUp };

/// One IPv4 address of an interface.
struct LinkAddress {
    in_addr address;
    int prefix;
};

OperState OperStateOf(const Link& link);

/// Only an interface that is up has one.
bool HasCarrier(const Link& link);

/// Nothing for loopback and tunnels, which have zeros or an address of another length.
std::optional<std::array<std::uint8_t, 6>> MacOf(const Link& link);

/// @return the interface of exactly this name (alternative names do not count), or nothing with
///         errno; ENODEV when there is none
std::optional<Link> FindLink(const char* ifname);

/// @return every interface, in index order, or nothing with errno
std::optional<std::vector<Link>> ListLinks();

/// @return the IPv4 addresses of one interface in the kernel's order, or nothing with errno
std::optional<std::vector<LinkAddress>> ListAddresses(unsigned index);

/// @return 0, or -1 with errno
int SetLinkMtu(unsigned index, int mtu);

}  // namespace vexoplatform
