#include <algorithm>

#include <vexonetwork/network/gateway_election.h>

namespace vexonetwork::network::module {
namespace {

/// Wireless interfaces are classed as ethernet too, but their link comes and goes.
bool NeedsLink(const GatewayInfo& entry) {
    return entry.interfaceClass == "ethernet" && !entry.ifname.starts_with("wlan");
}

Verdict Judge(GATEWAY_TYPE type, const GatewayInfo& entry, const ElectionFacts& facts) {
    if (entry.slave) {
        return Verdict::SLAVE;
    }
    if (NeedsLink(entry) && !facts.hasLink(entry)) {
        return Verdict::NO_LINK;
    }
    if (type == GTYPE_V4 && entry.gateway.IsEmpty()) {
        return Verdict::NO_GATEWAY;
    }
    if (type == GTYPE_V4 && !facts.exists(entry)) {
        return Verdict::NO_INTERFACE;
    }
    return facts.isTaken(entry) ? Verdict::TAKEN : Verdict::REFUSED;
}

}  // namespace

std::vector<Verdict> WalkGateways(GATEWAY_TYPE type, const std::vector<GatewayInfo>& gateways,
                                  const ElectionFacts& facts) {
    std::vector<Verdict> verdicts(gateways.size(), Verdict::NOT_TRIED);
    for (std::size_t i = 0; i < gateways.size(); ++i) {
        verdicts[i] = Judge(type, gateways[i], facts);
        if (verdicts[i] == Verdict::TAKEN) {
            break;
        }
    }
    return verdicts;
}

std::optional<std::size_t> WinnerOf(const std::vector<Verdict>& verdicts) {
    const auto winner = std::ranges::find(verdicts, Verdict::TAKEN);
    return winner == verdicts.end() ? std::nullopt
                                    : std::optional<std::size_t>(winner - verdicts.begin());
}

}  // namespace vexonetwork::network::module
