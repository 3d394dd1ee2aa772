#include "network/devices/bridges.h"

#include <net/if.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <string_view>
#include <utility>

#include <vexobase/log.h>
#include <vexonetlink/snapshot.h>

namespace vexonetwork::network {

namespace {

using vexonetlink::InterfaceAddress;
using vexonetlink::Link;
using vexonetlink::Snapshot;

/// A port of hardware has no kind.
constexpr std::array<std::string_view, 4> kKindsOfWayOut = {"", "bond", "team", "vlan"};

bool IsSearched(const Link& link) {
    // Nobody would hear a question on a bridge whose ports have no link yet.
    constexpr unsigned int kUsable = IFF_UP | IFF_RUNNING;
    return (link.flags & kUsable) == kUsable && link.ifname.find("br") != std::string::npos;
}

bool IsConfigured(const std::string& ifname) {
    return ::access(("/etc/sysconfig/network-scripts/ifcfg-" + ifname).c_str(), F_OK) == 0;
}

bool HasWayOut(const Link& bridge, const std::vector<Link>& links) {
    return std::ranges::any_of(links, [&](const Link& port) {
        return port.master == bridge.index
               && std::ranges::find(kKindsOfWayOut, port.kind) != kKindsOfWayOut.end();
    });
}

void AddAddress(const InterfaceAddress& address, Bridge& bridge) {
    const in_addr own = vexobase::ToInet4(address.local);
    const bool isKnown = std::ranges::any_of(
        bridge.networks, [&](const BridgeNetwork& network) { return network.Includes(own); });
    bridge.addresses.push_back(own.s_addr);
    if (!isKnown && address.prefixLength < 32) {
        bridge.networks.push_back({own.s_addr, htonl(~(0xffffffff >> address.prefixLength))});
    }
}

Bridge ToBridge(const Link& link, const Snapshot& snapshot) {
    Bridge bridge;
    bridge.ifname = link.ifname;
    bridge.index = link.index;
    bridge.mac = MacText(link.hardwareAddress);
    bridge.isLan = IsConfigured(link.ifname) || HasWayOut(link, snapshot.links);
    for (const InterfaceAddress& address : snapshot.addresses) {
        if (address.index == link.index && address.family == AF_INET) {
            AddAddress(address, bridge);
        }
    }
    return bridge;
}

}  // namespace

bool Bridge::Has(in_addr address) const {
    return std::ranges::find(addresses, address.s_addr) != addresses.end();
}

const BridgeNetwork* Bridge::NetworkOf(in_addr host) const {
    const auto found = std::ranges::find_if(networks, [&](const BridgeNetwork& network) {
        return network.Includes(host) && host.s_addr != network.Broadcast();
    });
    return found == networks.end() || Has(host) ? nullptr : &*found;
}

std::optional<Bridges> FindBridges() {
    const auto snapshot = vexonetlink::TakeSnapshot();
    if (!snapshot) {
        VEXO_LOG(LOG_ERR, "Failed to list the interfaces: %s", ::strerror(errno));
        return std::nullopt;
    }
    return BridgesIn(*snapshot);
}

Bridges BridgesIn(const Snapshot& snapshot) {
    Bridges bridges;
    for (const Link& link : snapshot.links) {
        if (!IsSearched(link)) {
            continue;
        }
        Bridge bridge = ToBridge(link, snapshot);
        if (!bridge.addresses.empty()) {
            bridges.push_back(std::move(bridge));
        }
    }
    return bridges;
}

std::optional<Bridges> FindLans() {
    auto bridges = FindBridges();
    if (bridges) {
        std::erase_if(*bridges, [](const Bridge& bridge) { return !bridge.isLan; });
    }
    return bridges;
}

std::string MacText(const std::vector<std::uint8_t>& octets) {
    if (octets.size() != 6) {
        return "";
    }
    char text[sizeof "00:00:00:00:00:00"];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", octets[0], octets[1],
                  octets[2], octets[3], octets[4], octets[5]);
    return text;
}

}  // namespace vexonetwork::network
