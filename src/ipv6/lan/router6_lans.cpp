#include <algorithm>
#include <array>
#include <ctime>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <vexobase/log.h>
#include <vexonetwork/ipv6/router/router6_lans.h>
#include <vexonetwork/ipv6/router/router6_lock.h>
#include <vexonetwork/ipv6/router/router6_prefix.h>
#include <vlib/file.h>

#include "ipv6/lan/announcements.h"
#include "ipv6/lan/grants.h"
#include "ipv6/lan/lan_addresses.h"
#include "ipv6/lan/lan_book.h"
#include "ipv6/lan/lan_filter.h"
#include "ipv6/lan/lan_mark.h"
#include "ipv6/lan/lan_routes.h"
#include "ipv6/lan/outside.h"
#include "ipv6/router/router_names.h"
#include "ipv6/router/stored_router.h"

namespace vexo::network::ipv6::router {

namespace {

using Routers = std::vector<StoredRouter>;

/// What has been loaded is the daemon's word of this moment, which is none where the daemon does
/// not run; the file keeps what it says.
int SaveWithFormerFlag(Router6Attr router) {
    std::array<char, 8> flag{};
    const std::string path = router.GetConfigName();
    ::VLIBCFileGetSectionValue(path.c_str(), "conf", "is_default_gateway", flag.data(),
                               int(flag.size()));
    router.is_default_gateway = std::string(flag.data()) == "yes";
    return router.SaveConfig();
}

/// What is to be: the book, and the routers that are others now.
struct Plan {
    LanBook book;
    Guarded guarded;
    Routers changed;
    bool isWhole = true;  ///< nothing is unknown
};

/// Of a router that cannot be read both devices are uplinks that it could have.
void Guard(const StoredRouter& router, const RouterShare& share, Guarded& guarded) {
    const bool isNative = router.attr.type == "native";
    if (isNative || !router.isWhole) {
        guarded.uplinks.insert(router.ifname);
    }
    if (!isNative) {
        guarded.uplinks.insert(TunnelDevice(router.ifname));
    }
    if (share.whole && !router.attr.is_open) {
        guarded.prefixes.push_back(share.whole);
    }
}

Plan Prepare(Routers routers, const LanBook& former) {
    Plan plan;
    for (StoredRouter& router : routers) {
        const auto known = former.routers.find(router.ifname);
        RouterShare share = known == former.routers.end() ? RouterShare() : known->second;
        if (!router.isWhole) {
            VEXO_LOG(LOG_ERR,
                     "LANs keep what they have of [%s]: what that router is now is unknown",
                     router.ifname.c_str());
            plan.isWhole = false;
        } else if (BringInStep(router.attr, share)) {
            plan.changed.push_back(router);
        }
        Guard(router, share, plan.guarded);
        plan.book.routers[router.ifname] = std::move(share);
    }
    return plan;
}

int Save(const Routers& routers) {
    int result = 0;
    for (const StoredRouter& each : routers) {
        if (SaveWithFormerFlag(each.attr) != 0) {
            VEXO_LOG(LOG_ERR, "Failed to save the prefix of WAN [%s]", each.attr.wan.c_str());
            result = -1;
        }
    }
    return result;
}

std::set<std::string> Without(std::set<std::string> names, const std::set<std::string>& others) {
    std::erase_if(names, [&](const std::string& name) { return others.contains(name); });
    return names;
}

int WriteIfOther(const LanBook& book, const LanBook& former) {
    return book == former ? 0 : WriteLanBook(book);
}

/// The book is written before anything that it must remember is done, so that a power cut leaves
/// nothing that nobody knows of.
int CarryOut(Plan plan, const LanBook& former, const Outside& outside) {
    const std::time_t now = std::time(nullptr);
    const auto grants = GrantsOf(plan.book);
    // An interface that has become a WAN is told nothing of what it had as a LAN.
    const auto isLan = [&](const std::string& ifname) {
        return !plan.book.routers.contains(ifname);
    };
    Announcements announced = FormerAnnouncements();
    std::erase_if(announced, [&](const Announcement& each) { return !isLan(each.lan); });
    const Announcements next = NextAnnouncements(announced, grants, outside, now);
    const auto lans = LansOf(next);
    plan.book.marked = LansOf(announced);
    std::ranges::copy_if(former.marked, std::inserter(plan.book.marked, plan.book.marked.end()),
                         isLan);
    plan.book.marked.insert(lans.begin(), lans.end());

    int result = WriteIfOther(plan.book, former);
    result |= Save(plan.changed);
    result |= PutLanRoutes(WholesOf(plan.book));
    result |= PutLanFilter(plan.guarded);
    result |= MarkLans(lans, true);
    result |= PutLanAddresses(grants);
    result |= Announce(next, outside, now);
    if (MarkLans(Without(plan.book.marked, lans), false) != 0) {
        return -1;
    }
    const LanBook written = plan.book;
    plan.book.marked = lans;
    return result | WriteIfOther(plan.book, written);
}

}  // namespace

int ApplyRouter6Lans() {
    const Router6Lock lock;
    auto routers = lock ? Router6Prefix::LoadStored() : std::nullopt;
    if (!routers) {
        return -1;
    }
    const LanBook former = ReadLanBook();
    const Outside outside = LookOutside(*routers);
    Plan plan = Prepare(std::move(*routers), former);
    const bool isWhole = plan.isWhole;
    return CarryOut(std::move(plan), former, outside) == 0 && isWhole ? 0 : -1;
}

}  // namespace vexo::network::ipv6::router
