#include "network/gateway_election.h"

namespace vexonetwork::network::module {
namespace {

/// Wireless interfaces are classed as ethernet too, but their link comes and goes.
bool NeedsLink(const GatewayInfo& entry) {
    return entry.interfaceClass == "ethernet" && !entry.ifname.starts_with("wlan");
}

}  // namespace

Verdict Judge(GATEWAY_TYPE type, const GatewayInfo& entry, const InterfaceFacts& facts) {
    if (entry.slave) {
        return Verdict::SLAVE;
    }
    if (NeedsLink(entry) && !facts.hasLink(entry.ifname)) {
        return Verdict::NO_LINK;
    }
    if (type == GTYPE_V6) {
        return Verdict::TRY;
    }
    if (entry.gateway.IsEmpty()) {
        return Verdict::NO_GATEWAY;
    }
    return facts.exists(entry.ifname) ? Verdict::TRY : Verdict::NO_INTERFACE;
}

std::optional<std::size_t> Elect(GATEWAY_TYPE type, const std::vector<GatewayInfo>& gateways,
                                 const InterfaceFacts& facts,
                                 const std::function<bool(const GatewayInfo&)>& install) {
    for (std::size_t i = 0; i < gateways.size(); ++i) {
        if (Judge(type, gateways[i], facts) == Verdict::TRY && install(gateways[i])) {
            return i;
        }
    }
    return std::nullopt;
}

}  // namespace vexonetwork::network::module
