#include <arpa/inet.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include <vexobase/ip_prefix.h>
#include <vexobase/log.h>
#include <vexobase/replace_file.h>
#include <vexonetwork/ipv6/router/router6_lock.h>
#include <vexonetwork/ipv6/router/router6_prefix.h>
#include <vlib/file.h>

#include "ipv6/router/gateway_places.h"
#include "ipv6/router/lan_parts.h"
#include "ipv6/router/router6_file.h"
#include "ipv6/router/router_names.h"
#include "ipv6/router/stored_router.h"
#include "network/interface_name.h"
#include "utils/sz_containers.h"

namespace vexo::network::ipv6::router {

namespace {

using vexobase::IpPrefix;
using Texts = std::vector<std::string>;

constexpr char kFolder[] = "/etc/sysconfig/networking";
constexpr char kNames[] = "ipv6-";
constexpr char kPppoe[] = "pppoe";
constexpr int kLongestSplit = 64;

std::optional<in6_addr> ParseAddress(const std::string& text) {
    in6_addr address{};
    // A NUL inside would hide what follows it.
    const bool isWhole = text.find('\0') == text.npos;
    if (!isWhole || ::inet_pton(AF_INET6, text.c_str(), &address) != 1) {
        VEXO_LOG(LOG_ERR, "Failed to convert %s into binary form", text.c_str());
        return std::nullopt;
    }
    return address;
}

/// @return "" when it cannot be told
std::string ToText(const in6_addr& address) {
    char text[INET6_ADDRSTRLEN] = {};
    return ::inet_ntop(AF_INET6, &address, text, sizeof text) == nullptr ? "" : text;
}

/// The /64 that an address is in; nothing, with a log line, when it is none.
std::optional<IpPrefix> LanPrefixOf(const std::string& text) {
    const auto address = ParseAddress(text);
    return address ? std::optional(IpPrefix(vexobase::FromInet(*address), kLanLength))
                   : std::nullopt;
}

/// The router's /64s in canonical form, or nothing, with a log line, when its prefix is none.
std::optional<Texts> CandidatesOf(const Router6Attr& router) {
    const AddressLength parts = SplitAddress(router.prefix);
    if (parts.address.empty() || parts.length.value_or(-1) < 0) {
        VEXO_LOG(LOG_WARNING, "Unable to tokenize prefix %s, skip", router.prefix.c_str());
        return std::nullopt;
    }
    // What is behind the length makes no other prefix of it, and no other parts.
    const auto whole = ParseRoutedPrefix(router.prefix);
    const std::string first = whole ? ToText(whole->Network()) : parts.address;
    Texts candidates;
    for (const std::string& text : Router6Prefix::EnumPrefix64(first, *parts.length)) {
        if (const auto network = LanPrefixOf(text)) {
            candidates.push_back(ToText(network->Network()));
        }
    }
    return candidates;
}

/// Whether a router hands out a /64.
bool Offers(const Router6Attr& router, const std::string& prefix) {
    const auto candidates = CandidatesOf(router);
    if (candidates && candidates->empty()) {
        VEXO_LOG(LOG_WARNING, "Unable to enumerate available prefix");
    }
    return candidates && std::ranges::find(*candidates, prefix) != candidates->end();
}

bool HasPrefix(const Router6Attr& router, const std::string& lan) {
    return std::ranges::find(router.lans, lan, &Router6Attr::LanList::value_type::first)
           != router.lans.end();
}

/// Takes a /64 from a LAN, in whatever form its file has it.
void TakeBack(Router6Attr& router, const std::string& prefix, const std::string& lan) {
    const auto wanted = LanPrefixOf(prefix);
    const auto held = std::ranges::find_if(router.lans, [&](const auto& grant) {
        return grant.first == lan && LanPrefixOf(grant.second) == wanted;
    });
    if (held != router.lans.end()) {
        router.lans.erase(held);
    }
}

/// Also as a link that leads nowhere now.
bool IsListed(const std::string& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 || errno != ENOENT;
}

int RefuseIncomplete(const Router6Attr& router) {
    VEXO_LOG(LOG_ERR, "The configuration of wan [%s] cannot be read whole, so it is not changed",
             router.wan.c_str());
    return -1;
}

/// Changes a router in memory and in its file, or neither.
template <typename Change>
bool SaveChanged(Router6Attr& router, Change change) {
    Router6Attr changed = router;
    change(changed);
    if (changed.SaveConfig() != 0) {
        return false;
    }
    router = std::move(changed);
    return true;
}

}  // namespace

Router6Prefix::Router6Prefix() {
    if (Load() != 0) {
        VEXO_LOG(LOG_WARNING, "Failed to load (some of) IPv6 router config");
    }
}

int Router6Prefix::Load() {
    auto stored = LoadStored();
    if (!stored) {
        return -1;
    }
    routers.clear();
    incomplete.clear();
    for (StoredRouter& each : *stored) {
        if (each.attr.wan.empty() && !each.isWhole) {
            continue;
        }
        if (!each.isWhole) {
            incomplete.insert(each.attr.wan);
        }
        routers.push_back(std::move(each.attr));
    }
    return 0;
}

std::optional<std::vector<StoredRouter>> Router6Prefix::LoadStored() {
    vexonetwork::utils::UniqueSzList names(VLIBCSzListAlloc(1024));
    Router6File file;
    if (!names || !file) {
        VEXO_LOG(LOG_ERR, "Failed to allocate list");
        return std::nullopt;
    }
    constexpr int kFiles = 2;
    if (VLIBCFileEnumDir(kFolder, kNames, names.Address(), kFiles) < 0) {
        VEXO_LOG(LOG_ERR, "Failed to enum dir (%s/%s)", kFolder, kNames);
        return std::nullopt;
    }
    if (!names) {
        VEXO_LOG(LOG_ERR, "Returned list is NULL");
        return std::nullopt;
    }
    const Router6Attr::PriorityOf places = GatewayPlaces();
    std::vector<StoredRouter> loaded;
    loaded.reserve(static_cast<std::size_t>(names->count));
    for (int i = 0; i < names->count; ++i) {
        const char* const ifname = VLIBCSzListGet(names.Get(), i) + std::strlen(kNames);
        // A file on its way to replace one, or what a power cut has left of it, is no router's.
        auto router =
            vexobase::IsTemporaryName(ifname) ? std::nullopt : LoadRouter(file, ifname, places);
        if (router) {
            loaded.push_back(std::move(*router));
        }
    }
    return loaded;
}

std::optional<StoredRouter> Router6Prefix::LoadRouter(Router6File& file, const std::string& ifname,
                                                      const Router6Attr::PriorityOf& priorityOf) {
    const std::string path = std::string(kFolder) + "/" + kNames + ifname;
    StoredRouter router{.ifname = ifname, .attr = {}};
    if (!file.Read(path) && !IsListed(path)) {
        return std::nullopt;  // gone since the folder was listed
    }
    const char* wan = VLIBCSzHashGetValue(file.Find(Router6File::kConf), "wan");
    const bool isCut = wan != nullptr && *wan == '\0' && !ifname.empty();
    if (wan == nullptr || isCut) {
        VEXO_LOG(LOG_WARNING, "Failed to get wan from %s", path.c_str());
        return router;
    }
    router.attr = Router6Attr(wan, false);
    const bool isApart = router.attr.wan == kPppoe
                         && Router6Attr::ConvertInterface(router.attr.wan).empty()
                         && !ifname.empty();
    // A copy of a router's file is no second router.
    if (!isApart && router.attr.GetConfigName() != path) {
        VEXO_LOG(LOG_WARNING, "%s is not the configuration of its wan [%s], skip", path.c_str(),
                 wan);
        return std::nullopt;
    }
    const bool isTaken = router.attr.Take(file, path, priorityOf) == 0;
    router.isWhole = isTaken && !isApart;
    if (!isTaken) {
        // Who is a LAN of it counts whatever else it lacks.
        router.attr.lans.clear();
        router.attr.GetPrefSection(file.Find(Router6File::kLan));
    }
    return router;
}

std::string Router6Prefix::NormalizePrefix(const std::string& text) {
    const auto address = ParseAddress(text);
    if (!address) {
        return "";
    }
    std::string canonical = ToText(*address);
    if (canonical.empty()) {
        VEXO_LOG(LOG_ERR, "Failed to convert prefix into text form");
    }
    return canonical;
}

std::vector<std::string> Router6Prefix::EnumPrefix64(const std::string& address, int length) {
    if (length > kLongestSplit) {
        VEXO_LOG(LOG_ERR, "Error: require larger prefix range for splitting (cur: %d, max: %d)",
                 length, kLongestSplit - 1);
        return {};
    }
    if (length == kLongestSplit) {
        return {address};
    }
    auto prefix = ParseAddress(address);
    if (!prefix) {
        return {};
    }
    std::vector<std::string> subnets;
    constexpr std::uint8_t kLastBit = 1;
    std::uint8_t& lastByte = prefix->s6_addr[7];
    for (const std::uint8_t bit : {std::uint8_t{0}, kLastBit}) {
        lastByte = static_cast<std::uint8_t>((lastByte & ~kLastBit) | bit);
        subnets.push_back(ToText(*prefix));
        if (subnets.back().empty()) {
            VEXO_LOG(LOG_ERR, "Failed to split prefix back (%s)", address.c_str());
            return {};
        }
    }
    return subnets;
}

std::string Router6Prefix::AllocatedTo(const std::string& prefix, const Router6Attr& router) const {
    const auto wanted = LanPrefixOf(prefix);
    for (const auto& [lan, lanPrefix] : router.lans) {
        if (wanted && LanPrefixOf(lanPrefix) == wanted) {
            return lan;
        }
    }
    return "";
}

int Router6Prefix::Allocate(const std::string& prefix, const std::string& lan) {
    if (!vexonetwork::network::IsInterfaceName(lan)) {
        VEXO_LOG(LOG_ERR, "No interface can have the name [%s]", lan.c_str());
        return -1;
    }
    const Router6Lock lock;
    return lock && Load() == 0 ? AllocateLocked(NormalizePrefix(prefix), lan) : -1;
}

int Router6Prefix::AllocateLocked(const std::string& prefix, const std::string& lan) {
    // Two routers may have been given the same prefix; it is still one.
    const bool isHeld = std::ranges::any_of(
        routers, [&](const Router6Attr& router) { return !AllocatedTo(prefix, router).empty(); });
    for (Router6Attr& router : routers) {
        if (isHeld || !Offers(router, prefix)) {
            continue;
        }
        if (!IsWhole(router)) {
            return RefuseIncomplete(router);
        }
        if (HasPrefix(router, lan)) {
            VEXO_LOG(LOG_ERR, "%s has a prefix of %s already, deallocate that one first",
                     lan.c_str(), router.wan.c_str());
            return -1;
        }
        const auto grant = [&](Router6Attr& changed) { changed.AddLan(lan, prefix); };
        return SaveChanged(router, grant) ? 0 : -1;
    }
    VEXO_LOG(LOG_WARNING, "Unable to find matching prefix %s allocate for %s", prefix.c_str(),
             lan.c_str());
    return -1;
}

int Router6Prefix::Deallocate(const std::string& prefix, const std::string& lan) {
    const Router6Lock lock;
    return lock && Load() == 0 ? DeallocateLocked(NormalizePrefix(prefix), lan) : -1;
}

int Router6Prefix::DeallocateLocked(const std::string& prefix, const std::string& lan) {
    bool isHeld = false;
    for (Router6Attr& router : routers) {
        if (AllocatedTo(prefix, router).empty()) {
            continue;
        }
        isHeld = true;
        if (!IsWhole(router)) {
            return RefuseIncomplete(router);
        }
        if (!SaveChanged(router, [&](Router6Attr& changed) { TakeBack(changed, prefix, lan); })) {
            return -1;
        }
    }
    if (!isHeld) {
        VEXO_LOG(LOG_INFO, "No matching prefix %s on %s to remove, possibly gone", prefix.c_str(),
                 lan.c_str());
    }
    return 0;
}

std::vector<Router6PrefixAttr> Router6Prefix::List() const {
    std::vector<Router6PrefixAttr> list;
    for (const Router6Attr& router : routers) {
        if (router.prefix.empty()) {
            VEXO_LOG(LOG_INFO, "Empty prefix, skip");
            continue;
        }
        for (const std::string& candidate : CandidatesOf(router).value_or(Texts())) {
            list.push_back({candidate, router.wan, AllocatedTo(candidate, router)});
        }
    }
    return list;
}

}  // namespace vexo::network::ipv6::router
