#include "vexobase/ip_prefix.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

namespace vexobase {
namespace {

constexpr int kBitsOfByte = 8;

std::optional<int> ParseLength(int family, std::string_view text) {
    unsigned length = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), length);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    return isWhole && length <= AddressBits(family) ? std::optional(int(length)) : std::nullopt;
}

}  // namespace

IpPrefix::IpPrefix(const IpAddress& address, int prefixLength) : network(address) {
    if (!address) {
        return;
    }
    length = static_cast<std::uint8_t>(std::clamp<int>(prefixLength, 0, AddressBits(Family())));
    for (std::size_t i = 0; i < network.bytes.size(); ++i) {
        const int kept = std::clamp(length - int(i) * kBitsOfByte, 0, kBitsOfByte);
        network.bytes[i] &= static_cast<std::uint8_t>(0xff00U >> kept);
    }
}

IpPrefix IpPrefix::Host(const IpAddress& address) {
    return {address, AddressBits(address.family)};
}

bool IpPrefix::Contains(const IpPrefix& other) const {
    return network && other.length >= length && IpPrefix(other.network, length) == *this;
}

std::optional<IpPrefix> IpPrefix::Part(int partLength, std::uint64_t index) const {
    constexpr int kBitsOfIndex = 64;
    const int bits = partLength - length;
    if (!network || bits < 0 || partLength > AddressBits(Family())
        || (bits < kBitsOfIndex && index >> bits != 0)) {
        return std::nullopt;
    }
    IpPrefix part(network, partLength);
    for (int bit = partLength - 1; index != 0; --bit, index >>= 1) {
        const auto mask = static_cast<std::uint8_t>((index & 1U) << (7 - bit % kBitsOfByte));
        part.network.bytes[static_cast<std::size_t>(bit / kBitsOfByte)] |= mask;
    }
    return part;
}

std::optional<IpPrefix> ParsePrefix(int family, std::string_view text, HostBits hostBits) {
    const auto slash = text.find('/');
    const auto address = ParseAddress(family, text.substr(0, slash));
    if (!address || slash == text.npos) {
        return address ? std::optional(IpPrefix::Host(*address)) : std::nullopt;
    }
    const auto length = ParseLength(family, text.substr(slash + 1));
    if (!length) {
        return std::nullopt;
    }
    const IpPrefix prefix(*address, *length);
    const bool isNetwork = prefix.Network() == *address;
    return isNetwork || hostBits == HostBits::kMasked ? std::optional(prefix) : std::nullopt;
}

std::string ToText(const IpPrefix& prefix) {
    return prefix ? ToText(prefix.Network()) + "/" + std::to_string(prefix.Length()) : "";
}

std::string ToRouteText(const IpPrefix& prefix) {
    if (prefix && prefix.Length() == 0) {
        return "default";
    }
    return prefix == IpPrefix::Host(prefix.Network()) ? ToText(prefix.Network()) : ToText(prefix);
}

}  // namespace vexobase
