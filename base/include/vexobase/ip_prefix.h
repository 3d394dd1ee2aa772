#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <vexobase/ip_address.h>

namespace vexobase {

/// A network of either family, or none: its address, in which the bits behind the length are zero,
/// and its length. So two that hold the same addresses are equal.
class IpPrefix {
  public:
    constexpr IpPrefix() = default;

    /// The network of this length that the address is in. A length beyond the family's is cut to
    /// it, one below 0 counts as 0; without an address it is none.
    IpPrefix(const IpAddress& address, int length);

    /// The network of one address.
    static IpPrefix Host(const IpAddress& address);
    /// All addresses of a family.
    static IpPrefix All(int family) { return {{family, {}}, 0}; }

    const IpAddress& Network() const { return network; }
    std::uint8_t Length() const { return length; }
    int Family() const { return network.family; }

    explicit operator bool() const { return bool(network); }
    auto operator<=>(const IpPrefix&) const = default;

    /// Whether all of the other lies in this. Nothing lies in none, and none in nothing.
    bool Contains(const IpPrefix& other) const;
    bool Contains(const IpAddress& address) const { return Contains(Host(address)); }

    /// Whether an address is in both.
    bool Overlaps(const IpPrefix& other) const { return Contains(other) || other.Contains(*this); }

    /// One of the equal parts of a greater length. @param index  from 0, in the order of addresses
    /// @return nothing when it has no such part
    std::optional<IpPrefix> Part(int partLength, std::uint64_t index) const;

  private:
    IpAddress network;
    std::uint8_t length = 0;
};

/// What is made of an address with bits behind the length, such as 192.0.2.5/24.
enum class HostBits { kRefused, kMasked };

/// Reads ADDRESS/LENGTH, or an address alone, which is a network of full length.
std::optional<IpPrefix> ParsePrefix(int family, std::string_view text, HostBits hostBits);

/// ADDRESS/LENGTH; "" for none.
std::string ToText(const IpPrefix& prefix);

/// As people write where a route leads: "default" for all addresses, an address alone for one.
std::string ToRouteText(const IpPrefix& prefix);

}  // namespace vexobase
