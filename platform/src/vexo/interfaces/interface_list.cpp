#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "vexo/interfaces/link.h"
#include "vlib/error.h"
#include "vlib/net.h"

namespace {

using vexoplatform::Link;

/// Many drivers do not say (PPP, tunnels, dummy ports). Their interfaces have a link while they
/// run, as in the kernel's events; the loopback interface has none.
int LinkStatus(const Link& link) {
    const auto state = vexoplatform::OperStateOf(link);
    if (state == vexoplatform::OperState::kUnknown) {
        const bool running = (link.flags & IFF_RUNNING) != 0 && vexoplatform::HasCarrier(link);
        return running && (link.flags & IFF_LOOPBACK) == 0 ? VLIB_LINK_UP : VLIB_LINK_UNKNOWN;
    }
    return state == vexoplatform::OperState::kUp ? VLIB_LINK_UP : VLIB_LINK_DOWN;
}

VLIBNETIF Describe(const Link& link) {
    VLIBNETIF entry{};
    std::snprintf(entry.name, sizeof entry.name, "%s", link.ifname.c_str());
    entry.index = static_cast<int>(link.index);
    entry.flags = link.flags;
    entry.linkStatus = LinkStatus(link);
    entry.mtu = static_cast<int>(link.mtu);
    if (const auto mac = vexoplatform::MacOf(link)) {
        std::snprintf(entry.mac, sizeof entry.mac, "%02x:%02x:%02x:%02x:%02x:%02x", (*mac)[0],
                      (*mac)[1], (*mac)[2], (*mac)[3], (*mac)[4], (*mac)[5]);
    }
    return entry;
}

}  // namespace

int VLIBNetGetInterfaceInfo(VLIBNETIF* interfaces, int most) {
    if (interfaces == nullptr || most < 0) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    const auto links = vexoplatform::ListLinks();
    if (!links) {
        VLIBCErrSet(VLIB_ERR_NETLINK_FAILED);
        return -1;
    }
    const auto count = std::min(links->size(), static_cast<std::size_t>(most));
    std::transform(links->begin(), links->begin() + static_cast<std::ptrdiff_t>(count), interfaces,
                   Describe);
    return static_cast<int>(count);
}

int VLIBNetBridgeIfIsSlave(const char* ifname) {
    const auto link = vexoplatform::FindLink(ifname);
    if (!link) {
        VLIBCErrSet(errno == ENODEV ? VLIB_ERR_NOT_FOUND : VLIB_ERR_NETLINK_FAILED);
        return -1;
    }
    return link->portKind == "bridge" ? 1 : 0;
}
