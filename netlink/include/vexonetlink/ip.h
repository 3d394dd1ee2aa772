#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>

#include <vexonetlink/message.h>

namespace vexonetlink {

/// An address of either family in network order, or none.
struct IpAddress {
    int family = AF_UNSPEC;
    std::array<std::uint8_t, 16> bytes{};  ///< an IPv4 address takes the first four

    explicit operator bool() const { return family != AF_UNSPEC; }
    auto operator<=>(const IpAddress&) const = default;
};

/// An address and how many of its leading bits count.
struct IpPrefix {
    IpAddress address;
    std::uint8_t length = 0;

    auto operator<=>(const IpPrefix&) const = default;
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

/// The address that the bytes are; none when they have not the size of the family's.
IpAddress ToAddress(int family, Bytes bytes);

/// The bytes of an address, in it; empty for none.
Bytes BytesOf(const IpAddress& address);

IpAddress FromInet(in_addr address);
IpAddress FromInet(const in6_addr& address);

/// 0.0.0.0 or :: for an address of another family, and for none.
in_addr ToInet4(const IpAddress& address);
in6_addr ToInet6(const IpAddress& address);

/// As inet_ntop(3) writes it; "" for none.
std::string ToText(const IpAddress& address);

}  // namespace vexonetlink
