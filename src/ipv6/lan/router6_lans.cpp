#include <array>

#include <vexobase/log.h>
#include <vexonetwork/ipv6/router/router6_lans.h>
#include <vexonetwork/ipv6/router/router6_lock.h>
#include <vexonetwork/ipv6/router/router6_prefix.h>
#include <vlib/file.h>

#include "ipv6/lan/announcements.h"
#include "ipv6/lan/grants.h"
#include "ipv6/lan/lan_addresses.h"
#include "ipv6/lan/lan_mark.h"
#include "ipv6/lan/lan_routes.h"

namespace vexo::network::ipv6::router {

namespace {

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

int BringInStep(Router6Attr& router) {
    const bool changed = FollowDelegation(router);
    const bool moved = MoveGrants(router);
    if ((changed || moved) && SaveWithFormerFlag(router) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to save the prefix of WAN [%s]", router.wan.c_str());
        return -1;
    }
    return 0;
}

int ApplyGrants(const std::vector<LanPrefix>& grants) {
    const Announcements former = FormerAnnouncements();
    const Announcements next = NextAnnouncements(former, grants, std::time(nullptr));
    const auto lans = LansOf(next);
    std::set<std::string> gone = LansOf(former);
    std::erase_if(gone, [&](const std::string& lan) { return lans.contains(lan); });
    int result = MarkLans(lans, true);
    result |= PutLanAddresses(grants);
    result |= Announce(next);
    result |= MarkLans(gone, false);
    return result;
}

}  // namespace

int ApplyRouter6Lans() {
    // Without the files nothing is known, which is not that nothing is granted.
    const Router6Lock lock;
    if (!lock || ::VLIBCFileCheckDir("/etc/sysconfig/networking") != 1) {
        return -1;
    }
    Router6Prefix all;
    int result = 0;
    std::vector<LanPrefix> grants;
    std::vector<vexonetlink::IpPrefix> wholes;
    for (Router6Attr& router : all.routers) {
        result |= BringInStep(router);
        const auto more = GrantsOf(router);
        grants.insert(grants.end(), more.begin(), more.end());
        if (const auto whole = WholeOf(router)) {
            wholes.push_back(*whole);
        }
    }
    result |= PutLanRoutes(wholes);
    result |= ApplyGrants(grants);
    return result == 0 ? 0 : -1;
}

}  // namespace vexo::network::ipv6::router
