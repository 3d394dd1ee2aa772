#include "ipv6/lan/grants.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <optional>

#include <vexobase/log.h>
#include <vexonetwork/ipv6/router/router6_prefix.h>
#include <vexonetwork/utils/file.h>

#include "ipv6/router/router_names.h"

namespace vexo::network::ipv6::router {

namespace {

constexpr char kNoPrefix[] = "none";
constexpr int kLanLength = 64;
constexpr std::size_t kNetworkBytes = kLanLength / 8;

/// Clears the bits past the length.
in6_addr Masked(in6_addr address, int length) {
    for (int byte = 0; byte < int(sizeof address.s6_addr); ++byte) {
        const int kept = std::clamp(length - byte * 8, 0, 8);
        address.s6_addr[byte] &= static_cast<std::uint8_t>(0xff00 >> kept);
    }
    return address;
}

std::optional<in6_addr> NetworkOf(const std::string& text, int length = kLanLength) {
    in6_addr address{};
    if (::inet_pton(AF_INET6, text.c_str(), &address) != 1) {
        return std::nullopt;
    }
    return Masked(address, length);
}

bool IsSame(const in6_addr& one, const in6_addr& other) {
    return IN6_ARE_ADDR_EQUAL(&one, &other);
}

/// The /64s that are handed out of the prefix, the first one first.
std::vector<in6_addr> PartsOf(const Router6Attr& router) {
    if (router.prefix.empty()) {
        return {};
    }
    const AddressLength prefix = SplitAddress(router.prefix);
    std::vector<in6_addr> parts;
    for (const std::string& text :
         Router6Prefix::EnumPrefix64(prefix.address, prefix.length.value_or(-1))) {
        if (const auto network = NetworkOf(text)) {
            parts.push_back(*network);
        }
    }
    return parts;
}

bool Contains(const std::vector<in6_addr>& parts, const std::optional<in6_addr>& network) {
    return network && std::ranges::any_of(parts, [&](const in6_addr& each) {
               return IsSame(each, *network);
           });
}

/// Of the two parts of a prefix the second one has the last bit of the network.
std::size_t PlaceOf(const in6_addr& network, const std::vector<in6_addr>& parts) {
    return parts.size() > 1 ? network.s6_addr[kNetworkBytes - 1] & 1 : 0;
}

bool IsTaken(const Router6Attr& router, const in6_addr& part) {
    return std::ranges::any_of(router.lans, [&](const auto& lan) {
        const auto network = NetworkOf(lan.second);
        return network && IsSame(*network, part);
    });
}

std::string ToText(const in6_addr& address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    ::inet_ntop(AF_INET6, &address, text.data(), text.size());
    return text.data();
}

/// @return what the client holds, kNoPrefix, or "" when it has not told anything
std::string ToldByClient(const std::string& wan) {
    const std::string path = "/run/vexo/router6/" + wan + ".delegated";
    std::string told = vexonetwork::utils::FileToStr(path);
    told.erase(std::min(told.find('\n'), told.size()));
    const AddressLength prefix = SplitAddress(told);
    const int length = prefix.length.value_or(-1);
    const bool isPrefix = NetworkOf(prefix.address) && length > 0 && length <= kLanLength;
    if (told.empty() || told == kNoPrefix || isPrefix) {
        return told;
    }
    VEXO_LOG(LOG_ERR, "Left out, as it is no prefix for LANs: [%s] of %s", told.c_str(),
             path.c_str());
    return "";
}

}  // namespace

std::string LanPrefix::Text() const {
    return ToText(network);
}

in6_addr LanPrefix::OwnAddress() const {
    in6_addr own = network;
    own.s6_addr[sizeof own.s6_addr - 1] = 1;
    return own;
}

bool FollowDelegation(Router6Attr& router) {
    const std::string wan = Router6Attr::ConvertInterface(router.wan);
    if (router.type != "native" || wan.empty() || !HasFiles(wan)) {
        return false;
    }
    const std::string told = ToldByClient(wan);
    const std::string prefix = told == kNoPrefix ? "" : told;
    if (told.empty() || prefix == router.prefix) {
        return false;
    }
    VEXO_LOG(LOG_NOTICE, "The prefix delegated on [%s] was [%s] and is [%s]", wan.c_str(),
             router.prefix.c_str(), prefix.c_str());
    router.prefix = prefix;
    return true;
}

bool MoveGrants(Router6Attr& router) {
    const auto parts = PartsOf(router);
    bool moved = false;
    for (auto& [lan, prefix] : router.lans) {
        const auto network = NetworkOf(prefix);
        if (parts.empty() || !network || Contains(parts, network)) {
            continue;
        }
        const in6_addr& part = parts[PlaceOf(*network, parts)];
        if (!IsTaken(router, part)) {
            prefix = ToText(part);
            moved = true;
        }
    }
    return moved;
}

std::optional<vexonetlink::IpPrefix> WholeOf(const Router6Attr& router) {
    const AddressLength prefix = SplitAddress(router.prefix);
    const int length = prefix.length.value_or(-1);
    const auto network = NetworkOf(prefix.address, length);
    if (!network || length <= 0) {
        return std::nullopt;
    }
    return vexonetlink::IpPrefix{vexonetlink::FromInet(*network),
                                 static_cast<std::uint8_t>(length)};
}

std::vector<LanPrefix> GrantsOf(const Router6Attr& router) {
    const auto parts = PartsOf(router);
    std::vector<LanPrefix> grants;
    for (const auto& [lan, prefix] : router.lans) {
        const auto network = NetworkOf(prefix);
        if (!Contains(parts, network)) {
            continue;
        }
        const LanPrefix grant{lan, *network};
        const auto isSame = [&](const LanPrefix& each) {
            return each.lan == grant.lan && IsSame(each.network, grant.network);
        };
        if (std::ranges::none_of(grants, isSame)) {
            grants.push_back(grant);
        }
    }
    return grants;
}

}  // namespace vexo::network::ipv6::router
