#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vexobase {

/// An address of either family in network order, or none.
struct IpAddress {
    int family = AF_UNSPEC;
    std::array<std::uint8_t, 16> bytes{};  ///< an IPv4 address takes the first four

    explicit operator bool() const { return family != AF_UNSPEC; }
    auto operator<=>(const IpAddress&) const = default;
};

constexpr bool IsIpFamily(int family) {
    return family == AF_INET || family == AF_INET6;
}
constexpr std::size_t AddressSize(int family) {
    return family == AF_INET ? 4 : 16;
}
constexpr std::uint8_t AddressBits(int family) {
    return family == AF_INET ? 32 : 128;
}

IpAddress FromInet(in_addr address);
IpAddress FromInet(const in6_addr& address);

/// 0.0.0.0 or :: for an address of another family, and for none.
in_addr ToInet4(const IpAddress& address);
in6_addr ToInet6(const IpAddress& address);

/// Reads what inet_pton(3) takes, and nothing behind it.
std::optional<IpAddress> ParseAddress(int family, std::string_view text);

/// As inet_ntop(3) writes it, IPv6 in the form of RFC 5952; "" for none.
std::string ToText(const IpAddress& address);

/// 0.0.0.0 or ::, which stand for "no address".
bool IsUnspecified(const IpAddress& address);

/// fe80::/10
bool IsLinkLocalV6(const IpAddress& address);

}  // namespace vexobase
