#include "vexo/interfaces/interface_setup.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <vexobase/log.h>

#include "vexo/appliance/default_routes.h"
#include "vexo/interfaces/interface_address.h"
#include "vlib/error.h"
#include "vlib/ipv4.h"

namespace vexoplatform {

namespace {

constexpr int kHostPrefix = 32;

int Refused(const Link& link, const char* what) {
    VEXO_LOG(LOG_ERR, "Failed to %s interface [%s]: %s", what, link.ifname.c_str(),
             std::strerror(errno));
    VLIBCErrSet(VLIB_ERR_NETLINK_FAILED);
    return -1;
}

int SetUpMtu(const Link& link, int mtu) {
    if (link.mtu == static_cast<unsigned>(mtu) || SetLinkMtu(link.index, mtu) == 0) {
        return 0;
    }
    return Refused(link, ("give MTU " + std::to_string(mtu) + " to").c_str());
}

int Put(const Link& link, const LinkAddress& wanted) {
    if (PutAddress(link.index, wanted) == 0) {
        return 0;
    }
    return Refused(
        link, ("put " + vlib::ToText(wanted.address) + "/" + std::to_string(wanted.prefix) + " on")
                  .c_str());
}

/// With the first address of a subnet the kernel may also drop the others of it, so those that
/// stay are put back.
int RemoveStale(const Link& link, const std::vector<InterfaceAddress>& stale,
                const std::vector<InterfaceAddress>& others) {
    int result = 0;
    for (const InterfaceAddress& each : stale) {
        if (RemoveAddress(link.index, {ToInet4(each.local), each.prefixLength}) != 0) {
            result = Refused(link, "take an address from");
        }
    }
    for (const InterfaceAddress& each : others) {
        if (PutBackAddress(each) != 0) {
            result = Refused(link, "put an address back on");
        }
    }
    return result;
}

/// With an address go the routes that name it as their source. Those whose gateways are out of
/// reach now are refused, and stay lost.
void PutBackRoutes(const std::vector<DefaultRoute>& former) {
    const auto left = ListDefaultRoutes();
    for (DefaultRoute route : former) {
        if (left && std::ranges::find(*left, route) == left->end()) {
            route.preferredSource = {};
            PutBackDefaultRoute(route);
        }
    }
}

/// An interface without any address loses its routes, so the new one stands as a subnet of its
/// own while the others go. It is announced last: who keeps one address per interface keeps it.
int Exchange(const Link& link, const LinkAddress& wanted,
             const std::vector<InterfaceAddress>& stale,
             const std::vector<InterfaceAddress>& others) {
    const LinkAddress meanwhile{wanted.address, kHostPrefix};
    const auto routes = ListDefaultRoutes();
    if (Put(link, meanwhile) != 0) {
        return -1;
    }
    int result = RemoveStale(link, stale, others);
    if (wanted.prefix != kHostPrefix
        && (Put(link, wanted) != 0 || RemoveAddress(link.index, meanwhile) != 0
            || Put(link, wanted) != 0)) {
        result = -1;
    }
    PutBackRoutes(routes.value_or(std::vector<DefaultRoute>()));
    return result;
}

int SetUpAddress(const Link& link, const std::optional<LinkAddress>& wanted, bool leaseGoes) {
    auto others = ListInterfaceAddresses(link.index);
    if (!others) {
        return Refused(link, "read the addresses of");
    }
    const auto isWanted = [&](const InterfaceAddress& each) {
        return wanted && IsSame(each, *wanted);
    };
    const bool isThere = std::ranges::any_of(
        *others, [&](const auto& each) { return isWanted(each) && IsPermanent(each); });
    std::erase_if(*others, isWanted);
    const auto stays = [&](const InterfaceAddress& each) {
        return !IsConfigured(each) && (IsPermanent(each) || !leaseGoes);
    };
    const auto border = std::stable_partition(others->begin(), others->end(), stays);
    const std::vector<InterfaceAddress> stale(border, others->end());
    others->erase(border, others->end());
    if (stale.empty()) {
        return isThere || !wanted ? 0 : Put(link, *wanted);
    }
    return wanted ? Exchange(link, *wanted, stale, *others) : RemoveStale(link, stale, *others);
}

}  // namespace

int SetUpInterface(const Link& link, const InterfaceConfig& config, bool leaseGoes) {
    for (const std::string& complaint : config.complaints) {
        VEXO_LOG(LOG_ERR, "Interface [%s]: %s", link.ifname.c_str(), complaint.c_str());
    }
    int result = config.mtu ? SetUpMtu(link, *config.mtu) : 0;
    if (!config.addressIsBad && SetUpAddress(link, config.address, leaseGoes) != 0) {
        result = -1;
    }
    return result;
}

}  // namespace vexoplatform
