#include "network/advertisements/uplink_links.h"

#include <fcntl.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include <vexobase/log.h>
#include <vexobase/unique_fd.h>
#include <vexonetlink/exchange.h>
#include <vexonetlink/snapshot.h>

namespace vexonetwork::network::module {
namespace {

using vexonetlink::Arrival;
using vexonetlink::Link;
using vexonetlink::Route;

/// A port of hardware has no kind. A veth pair is the port of an appliance in a container.
constexpr std::array<std::string_view, 6> kKindsOfUplinks = {"",      "bond", "vlan",
                                                             "dummy", "veth", "team"};

/// Links come in crowds; who tells of more at once has all looked over anyway.
constexpr int kMaxDrained = 4096;

bool IsRunning(const Link& link) {
    return (link.flags & IFF_UP) != 0 && (link.flags & IFF_RUNNING) != 0;
}

bool IsConfigured(const std::string& ifname) {
    return ::access(("/etc/sysconfig/network-scripts/ifcfg-" + ifname).c_str(), F_OK) == 0;
}

enum class Setting { kUnchanged, kChanged, kFailed };

/// Has the kernel learn no default router on an interface, nor keep what it says of itself.
Setting RefuseDefaultRouters(const std::string& ifname) {
    const std::string path = "/proc/sys/net/ipv6/conf/" + ifname + "/accept_ra_defrtr";
    const vexobase::UniqueFd file(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    char now = 0;
    if (!file || ::pread(file.Get(), &now, 1, 0) != 1) {
        return Setting::kFailed;
    }
    if (now == '0') {
        return Setting::kUnchanged;
    }
    return ::pwrite(file.Get(), "0", 1, 0) == 1 ? Setting::kChanged : Setting::kFailed;
}

}  // namespace

UplinkLinks::UplinkLinks(std::function<bool(const std::string& ifname)> doesFollow)
    : follows(std::move(doesFollow)) {}

bool UplinkLinks::IsOurs(const Link& link, bool isConfigured) {
    // These two names mean all interfaces where settings are kept.
    if ((link.flags & IFF_LOOPBACK) != 0 || link.master != 0 || link.ifname == "all"
        || link.ifname == "default") {
        return false;
    }
    return isConfigured
           || (link.type == ARPHRD_ETHER
               && std::ranges::find(kKindsOfUplinks, link.kind) != kKindsOfUplinks.end());
}

void UplinkLinks::Begin(SteadyTime now) {
    // First, so that nothing is missed between.
    listener = vexonetlink::Socket::Open({.groups = RTMGRP_LINK});
    requests = vexonetlink::Socket::Open();
    if (!listener || !requests) {
        VEXO_LOG(LOG_ERR, "Failed to follow the interfaces: %s", std::strerror(errno));
        End();
        return;
    }
    LookOver(now);
}

void UplinkLinks::End() {
    listener.reset();
    requests.reset();
    known.clear();
    solicitations = {};
}

bool UplinkLinks::Update(SteadyTime now) {
    bool hasNews = false;
    for (int i = 0; listener && i < kMaxDrained; ++i) {
        const Arrival arrival = listener->Poll().arrival;
        if (arrival == Arrival::kEmpty || arrival == Arrival::kFailed) {
            break;
        }
        hasNews = true;
    }
    if (hasNews) {
        LookOver(now);
    }
    return hasNews;
}

void UplinkLinks::LookOver(SteadyTime now) {
    const auto links = vexonetlink::ListLinks(*requests);
    if (!links) {
        VEXO_LOG(LOG_ERR, "Failed to list the interfaces: %s", std::strerror(errno));
        return;
    }
    std::vector<unsigned> cleared;
    std::map<unsigned, Known> former = std::exchange(known, {});
    for (const Link& link : *links) {
        Known& before = former[link.index];
        const bool isRunning = IsRunning(link);
        const bool hasCome = isRunning && !before.isRunning;
        const bool isSame = before.isDone && before.ifname == link.ifname && !hasCome;
        const bool isDone = isSame || !IsOurs(link, IsConfigured(link.ifname))
                            || !follows(link.ifname) || Refuse(link, cleared);
        if (!isSame && hasCome && std::ranges::find(cleared, link.index) != cleared.end()) {
            solicitations.Begin(link.index, now);
        }
        if (!isRunning) {
            solicitations.End(link.index);
        }
        known[link.index] = {link.ifname, isRunning, isDone};
        former.erase(link.index);
    }
    for (const auto& [index, gone] : former) {
        solicitations.End(index);
    }
    RemoveDefaults(cleared);
}

/// @param cleared  takes the index of a link whose learnt routes are to go
/// @return whether it is done; an interface without IPv6 may get it later
bool UplinkLinks::Refuse(const Link& link, std::vector<unsigned>& cleared) {
    const Setting setting = RefuseDefaultRouters(link.ifname);
    if (setting != Setting::kFailed) {
        cleared.push_back(link.index);
    } else if (errno != ENOENT) {
        VEXO_LOG(LOG_ERR, "Failed to set net.ipv6.conf.%s.accept_ra_defrtr: %s",
                 link.ifname.c_str(), std::strerror(errno));
    }
    return setting != Setting::kFailed;
}

void UplinkLinks::RemoveDefaults(const std::vector<unsigned>& indices) {
    if (indices.empty()) {
        return;
    }
    const auto routes = vexonetlink::ListRoutes(
        *requests,
        {.family = AF_INET6, .table = RT_TABLE_MAIN, .protocol = RTPROT_RA, .type = 0, .oif = 0});
    if (!routes) {
        VEXO_LOG(LOG_ERR, "Failed to read the advertised routes: %s", std::strerror(errno));
        return;
    }
    vexonetlink::Batch batch(*requests);
    std::size_t count = 0;
    for (const Route& route : *routes) {
        if (route.destination.Length() == 0
            && std::ranges::find(indices, route.oif) != indices.end()) {
            batch.Add(vexonetlink::RouteRequest(RTM_DELROUTE, 0, route));
            ++count;
        }
    }
    const auto refusals = batch.Finish();
    const auto isGone = [](const auto& refusal) { return refusal.error.number == ESRCH; };
    const auto kept =
        refusals.size() - static_cast<std::size_t>(std::ranges::count_if(refusals, isGone));
    if (count != 0) {
        VEXO_LOG(LOG_NOTICE,
                 "Took %zu default routes away that the kernel had learnt, %zu are left",
                 count - kept, kept);
    }
}

}  // namespace vexonetwork::network::module
