#include "ipv6/router/lan_parts.h"

#include <algorithm>

#include <vexonetwork/ipv6/router/routed_prefix.h>

namespace vexo::network::ipv6::router {

namespace {

using vexobase::HostBits;
using vexobase::IpPrefix;

constexpr int kShortest = 16;

bool CanBeRouted(const IpPrefix& prefix) {
    constexpr const char* kOthers[] = {"::/8", "fe80::/10", "ff00::/8"};
    constexpr int kSiteOf6to4 = 48;
    const auto overlaps = [&prefix](const char* other) {
        return prefix.Overlaps(*vexobase::ParsePrefix(AF_INET6, other, HostBits::kRefused));
    };
    const int shortest = overlaps("2002::/16") ? kSiteOf6to4 : kShortest;
    return prefix.Length() >= shortest && prefix.Length() <= kLanLength
           && std::ranges::none_of(kOthers, overlaps);
}

}  // namespace

bool IsRoutedPrefix(const std::string& addressLength) {
    return ParseRoutedPrefix(addressLength).has_value();
}

std::optional<IpPrefix> ParseRoutedPrefix(const std::string& addressLength) {
    const auto prefix = vexobase::ParsePrefix(AF_INET6, addressLength, HostBits::kMasked);
    return prefix && CanBeRouted(*prefix) ? prefix : std::nullopt;
}

std::optional<IpPrefix> ParseLanPrefix(const std::string& address) {
    const auto parsed = vexobase::ParseAddress(AF_INET6, address);
    return parsed ? std::optional(IpPrefix(*parsed, kLanLength)) : std::nullopt;
}

std::vector<IpPrefix> LanParts(const IpPrefix& prefix) {
    constexpr std::uint64_t kMaxParts = 2;
    std::vector<IpPrefix> parts;
    for (std::uint64_t i = 0; i < kMaxParts; ++i) {
        if (const auto part = prefix.Part(kLanLength, i)) {
            parts.push_back(*part);
        }
    }
    return parts;
}

}  // namespace vexo::network::ipv6::router
