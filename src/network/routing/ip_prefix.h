#pragma once

#include <sys/socket.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <tuple>

namespace vexonetwork::network {

/// An address of either family in network order, or none.
struct Address {
    int family = AF_UNSPEC;
    std::array<std::uint8_t, 16> bytes{};  ///< an IPv4 address takes the first four

    explicit operator bool() const { return family != AF_UNSPEC; }
    bool operator==(const Address&) const = default;
    bool operator<(const Address& other) const {
        return std::tie(family, bytes) < std::tie(other.family, other.bytes);
    }
};

/// An address and how many of its leading bits count.
struct Prefix {
    Address address;
    std::uint8_t length = 0;

    bool operator==(const Prefix&) const = default;
    bool operator<(const Prefix& other) const {
        return std::tie(address, length) < std::tie(other.address, other.length);
    }
};

constexpr std::size_t AddressSize(int family) {
    return family == AF_INET ? 4 : 16;
}
constexpr std::uint8_t AddressBits(int family) {
    return family == AF_INET ? 32 : 128;
}

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

/// As people write them: "default" for everything, an address alone for one of full length; ""
/// for no address.
std::string ToText(const Address& address);
std::string ToText(const Prefix& prefix);

}  // namespace vexonetwork::network
