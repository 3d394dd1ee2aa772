#pragma once

#include <optional>
#include <string>

#include <vexonetlink/ip.h>

namespace vexonetwork::network {

using Address = vexonetlink::IpAddress;
using Prefix = vexonetlink::IpPrefix;
using vexonetlink::AddressBits;
using vexonetlink::ToText;

/// All addresses of a family.
constexpr Prefix Everything(int family) {
    return {{family, {}}, 0};
}

/// Reads what inet_pton(3) takes.
std::optional<Address> ParseAddress(int family, const std::string& text);

/// Reads an address, or one with a prefix length. The bits behind the length stay.
std::optional<Prefix> ParsePrefix(int family, const std::string& text);

/// The prefix with the bits behind its length cleared.
Prefix NetworkOf(Prefix prefix);

bool IsLinkLocal(const Address& address);

/// Whether all of it lies in 127.0.0.0/8 or is ::1.
bool IsLoopback(const Prefix& prefix);

/// 0.0.0.0 or ::, which stand for "no gateway".
bool IsUnspecified(const Address& address);

/// As people write it: "default" for everything, an address alone for one of full length; "" for
/// no address.
std::string ToText(const Prefix& prefix);

}  // namespace vexonetwork::network
