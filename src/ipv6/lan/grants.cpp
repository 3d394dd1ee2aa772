#include "ipv6/lan/grants.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>

#include <vexobase/log.h>

#include "ipv6/lan/delegation.h"
#include "ipv6/router/lan_parts.h"
#include "ipv6/router/router_names.h"

namespace vexo::network::ipv6::router {

namespace {

using vexobase::IpPrefix;
using Parts = std::vector<IpPrefix>;
using Places = std::map<std::string, int>;

bool FollowDelegation(Router6Attr& router) {
    const std::string wan = Router6Attr::ConvertInterface(router.wan);
    if (router.type != "native" || wan.empty() || !HasFiles(wan)) {
        return false;
    }
    const auto told = ToldByClient(wan);
    const IpPrefix current = ParseRoutedPrefix(router.prefix).value_or(IpPrefix());
    const std::string prefix =
        told ? ToText(BestPrefix(told->prefixes, current, std::time(nullptr))) : router.prefix;
    if (prefix == router.prefix) {
        return false;
    }
    VEXO_LOG(LOG_NOTICE, "The prefix delegated on [%s] was [%s] and is [%s]", wan.c_str(),
             router.prefix.c_str(), prefix.c_str());
    router.prefix = prefix;
    return true;
}

Parts PartsOf(const Router6Attr& router) {
    const auto whole = ParseRoutedPrefix(router.prefix);
    return whole ? LanParts(*whole) : Parts();
}

/// @return the number of the part that a LAN has, or nothing
std::optional<int> IndexOf(const Parts& parts, const std::string& lanPrefix) {
    const auto network = ParseLanPrefix(lanPrefix);
    const auto found = network ? std::ranges::find(parts, *network) : parts.end();
    return found == parts.end() ? std::nullopt : std::optional(int(found - parts.begin()));
}

Places Remembered(const RouterShare& share) {
    Places places;
    for (const LanShare& each : share.lans) {
        if (each.place != LanShare::kNoPlace) {
            places[each.lan] = each.place;
        }
    }
    return places;
}

/// Takes down where the LANs are that have a part of the present prefix.
void Learn(Places& places, const Router6Attr& router) {
    const Parts parts = PartsOf(router);
    for (const auto& [lan, prefix] : router.lans) {
        const auto index = IndexOf(parts, prefix);
        // That it has the only one there is says nothing of where it belongs.
        if (index && (parts.size() > 1 || !places.contains(lan))) {
            places[lan] = *index;
        }
    }
}

bool IsTaken(const Router6Attr& router, const IpPrefix& part) {
    return std::ranges::any_of(
        router.lans, [&](const auto& grant) { return ParseLanPrefix(grant.second) == part; });
}

std::optional<IpPrefix> PartFor(const Router6Attr& router, const Parts& parts,
                                std::optional<int> place) {
    const bool isAny = !place || parts.size() == 1;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if ((isAny || int(i) == *place) && !IsTaken(router, parts[i])) {
            return parts[i];
        }
    }
    return std::nullopt;
}

void MoveGrants(Router6Attr& router, const Parts& parts, const Places& places) {
    const auto placeOf = [&](const auto* grant) {
        const auto place = places.find(grant->first);
        return place == places.end() ? std::nullopt : std::optional(place->second);
    };
    const auto isBefore = [&](const auto* one, const auto* other) {
        const auto place = placeOf(one);
        return place && (!placeOf(other) || *place < *placeOf(other));
    };
    std::vector<Router6Attr::LanList::value_type*> waiting;
    for (auto& grant : router.lans) {
        if (ParseLanPrefix(grant.second) && !IndexOf(parts, grant.second)) {
            waiting.push_back(&grant);
        }
    }
    std::ranges::stable_sort(waiting, isBefore);
    for (auto* grant : waiting) {
        if (const auto part = PartFor(router, parts, placeOf(grant))) {
            grant->second = ToText(part->Network());
        }
    }
}

RouterShare ShareOf(const Router6Attr& router, const Parts& parts, const Places& places) {
    RouterShare share{.whole = ParseRoutedPrefix(router.prefix).value_or(IpPrefix()), .lans = {}};
    for (const auto& [lan, prefix] : router.lans) {
        const auto place = places.find(lan);
        const auto index = IndexOf(parts, prefix);
        share.lans.push_back({lan, place == places.end() ? LanShare::kNoPlace : place->second,
                              index ? parts[std::size_t(*index)] : IpPrefix()});
    }
    return share;
}

}  // namespace

std::string LanPrefix::Text() const {
    return ToText(network.Network());
}

vexobase::IpAddress LanPrefix::OwnAddress() const {
    vexobase::IpAddress own = network.Network();
    own.bytes.back() = 1;
    return own;
}

bool BringInStep(Router6Attr& router, RouterShare& share) {
    const auto former = router.lans;
    Places places = Remembered(share);
    Learn(places, router);
    const bool followed = FollowDelegation(router);
    const Parts parts = PartsOf(router);
    MoveGrants(router, parts, places);
    Learn(places, router);
    share = ShareOf(router, parts, places);
    return followed || router.lans != former;
}

std::vector<LanPrefix> GrantsOf(const LanBook& book) {
    std::vector<LanPrefix> grants;
    for (const auto& [ifname, share] : book.routers) {
        for (const LanShare& each : share.lans) {
            const auto holder = std::ranges::find(grants, each.network, &LanPrefix::network);
            if (each.network && holder == grants.end()) {
                grants.push_back({each.lan, each.network});
            } else if (each.network && holder->lan != each.lan) {
                VEXO_LOG(LOG_ERR, "[%s] does not get %s, which [%s] has", each.lan.c_str(),
                         ToText(each.network).c_str(), holder->lan.c_str());
            }
        }
    }
    return grants;
}

std::vector<IpPrefix> WholesOf(const LanBook& book) {
    std::vector<IpPrefix> wholes;
    for (const auto& [ifname, share] : book.routers) {
        if (share.whole) {
            wholes.push_back(share.whole);
        }
    }
    return wholes;
}

}  // namespace vexo::network::ipv6::router
