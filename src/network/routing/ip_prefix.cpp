#include "network/routing/ip_prefix.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstddef>

#include "network/parse_number.h"

namespace vexonetwork::network {

std::optional<Address> ParseAddress(int family, const std::string& text) {
    Address address{family, {}};
    if (::inet_pton(family, text.c_str(), address.bytes.data()) != 1) {
        return std::nullopt;
    }
    return address;
}

std::optional<Prefix> ParsePrefix(int family, const std::string& text) {
    const auto slash = text.find('/');
    const auto address = ParseAddress(family, text.substr(0, slash));
    if (!address || slash == text.npos) {
        return address ? std::optional(Prefix{*address, AddressBits(family)}) : std::nullopt;
    }
    const auto length = ParseNumber(std::string_view(text).substr(slash + 1));
    if (!length || *length > AddressBits(family)) {
        return std::nullopt;
    }
    return Prefix{*address, static_cast<std::uint8_t>(*length)};
}

Prefix NetworkOf(Prefix prefix) {
    for (std::size_t i = 0; i < prefix.address.bytes.size(); ++i) {
        const int bits = std::clamp(prefix.length - static_cast<int>(i) * 8, 0, 8);
        prefix.address.bytes[i] &= static_cast<std::uint8_t>(0xff00U >> bits);
    }
    return prefix;
}

bool IsLinkLocal(const Address& address) {
    constexpr std::uint8_t kUpperTwo = 0xc0;
    return address.family == AF_INET6 && address.bytes[0] == 0xfe
           && (address.bytes[1] & kUpperTwo) == 0x80;
}

bool IsLoopback(const Prefix& prefix) {
    constexpr std::uint8_t kNetworkV4 = 127;
    const Address& address = prefix.address;
    return address.family == AF_INET
               ? prefix.length >= 8 && address.bytes[0] == kNetworkV4
               : prefix == Prefix{*ParseAddress(AF_INET6, "::1"), AddressBits(AF_INET6)};
}

bool IsUnspecified(const Address& address) {
    return std::ranges::all_of(address.bytes, [](std::uint8_t byte) { return byte == 0; });
}

std::string ToText(const Prefix& prefix) {
    if (prefix.length == 0 && IsUnspecified(prefix.address)) {
        return "default";
    }
    const std::string address = ToText(prefix.address);
    return prefix.length == AddressBits(prefix.address.family)
               ? address
               : address + "/" + std::to_string(prefix.length);
}

}  // namespace vexonetwork::network
