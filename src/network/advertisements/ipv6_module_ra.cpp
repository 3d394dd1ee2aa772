// What an advertisement means for the interface it came in on.

#include <arpa/inet.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string_view>

#include <vexo/ipv6_conf.h>
#include <vexobase/native_uplink.h>
#include <vexonetwork/network/module/ipv6_module.h>
#include <vexonetwork/network/module/module_manager.h>
#include <vlib/file.h>

#include "network/advertisements/advertisement.h"
#include "network/advertisements/ipv6_module_parts.h"
#include "network/advertisements/neighbour_check.h"

#define VEXO_LOG_SOURCE "ipv6_module"
#include <vexobase/log.h>

namespace vexonetwork::network::module {
namespace {

constexpr int kMethodAutomatic = 0;
constexpr int kMethodOff = 1;
constexpr int kMethodDhcp = 2;
constexpr int kMethodManual = 3;
constexpr int kMethodStatelessDhcp = 4;

int MethodOf(RaState state) {
    return state == RA_STATE_MANAGED ? kMethodDhcp
           : state == RA_STATE_OTHER ? kMethodStatelessDhcp
                                     : kMethodAutomatic;
}

}  // namespace

/// Each line that a stranger can cause without end asks first.
bool IPv6Module::MayLog() {
    if (const unsigned leftOut = parts->logBudget.TakeLeftOut()) {
        VEXO_LOG(LOG_ERR, "%u lines about advertisements were left out", leftOut);
    }
    return parts->logBudget.Spend();
}

const char* IPv6Module::print_addr(const in6_addr* addr, char* text) {
    if (::inet_ntop(AF_INET6, addr, text, INET6_ADDRSTRLEN) == nullptr) {
        VEXO_LOG(LOG_ERR, "print_addr: failed to inet_ntop");
        std::strcpy(text, "[invalid address]");
    }
    return text;
}

AdvertisedOptions IPv6Module::Options(const unsigned char* ra, int len) {
    AdvertisedOptions options = ReadOptions({ra, static_cast<std::size_t>(std::max(len, 0))});
    if (options.end == OptionsEnd::kZeroLength && MayLog()) {
        VEXO_LOG(LOG_ERR, "zero length option in RA");
    }
    if (options.end == OptionsEnd::kOverlong && MayLog()) {
        VEXO_LOG(LOG_ERR,
                 "option length greater than total length in RA (type %d, optlen %d, len %d)",
                 options.type, options.length, options.left);
    }
    return options;
}

std::vector<std::string> IPv6Module::RaAutoPrefixGet(unsigned char* ra, int len,
                                                     const char* /*ifname*/) {
    std::vector<std::string> prefixes;
    const AdvertisedOptions options = Options(ra, len);
    for (const in6_addr& prefix : options.autonomousPrefixes) {
        char text[INET6_ADDRSTRLEN];
        prefixes.emplace_back(print_addr(&prefix, text));
    }
    return prefixes;
}

bool IPv6Module::IsRaValid(unsigned char* ra, int len, const std::string& /*ifname*/,
                           bool managed) {
    if (managed || !Options(ra, len).autonomousPrefixes.empty()) {
        return true;
    }
    if (MayLog()) {
        VEXO_LOG(LOG_INFO, "Ignore stateless RA which has no prefix information.");
    }
    return false;
}

bool IPv6Module::Ipv6Enable(const std::string& ifname) {
    int method = 0;
    int prefix = 0;
    char address[256] = "";
    char gateway[256] = "";
    if (VEXONetIPv6ConfGet(ifname.c_str(), &method, address, sizeof address, &prefix, gateway,
                           sizeof gateway)
        == -1) {
        if (MayLog()) {
            VEXO_LOG(LOG_ERR, "Fail to get ipv6 config(%s)", ifname.c_str());
        }
        return false;
    }
    const std::string path = "/etc/sysconfig/network-scripts/ifcfg-" + ifname;
    constexpr char kKey[] = "IPV6ROUTER";
    char value[256] = "";
    if (VLIBCFileGetKeyValue(path.c_str(), kKey, value, sizeof value, 0) < 0 && MayLog()) {
        VEXO_LOG(LOG_DEBUG, "Failed to get key [%s] in [%s], treated as NOT a router", kKey,
                 path.c_str());
    }
    // A router that has its own IPv6 of a provider's follows that one's.
    const bool isRouterItself =
        std::string_view(value).starts_with("yes") && !vexobase::IsNativeUplink(ifname);
    return method != kMethodOff && method != kMethodManual && !isRouterItself && ifname != "lbr0";
}

bool IPv6Module::IsRaExchangeable(const std::string& ifname) {
    const RaRecord record = parts->records.Of(ifname);
    const std::time_t now = std::time(nullptr);
    if (MayLog()) {
        VEXO_LOG(LOG_INFO, "difftime = %f", SilenceOf(record, now));
    }
    return IsSilent(record, now);
}

bool IPv6Module::IsGatewayReachable(const std::string& ifname) {
    const auto answer = AskNeighbour(ifname, parts->records.Of(ifname).gateway);
    return answer && answer->isReachable;
}

bool IPv6Module::IsRaStateChange(const std::string& ifname, bool managed, bool other) {
    return IsChange(parts->records.Of(ifname).state, managed, other);
}

void IPv6Module::ProcessRA(const std::string& router, const std::string& ifname, unsigned char* ra,
                           int len, bool managed, bool other) {
    if (Accepts(router, ifname, ra, len, managed)) {
        Consider(ifname, {router, managed, other, std::time(nullptr)}, false);
    }
}

bool IPv6Module::Accepts(const std::string& router, const std::string& ifname, unsigned char* ra,
                         int len, bool managed) {
    if (MayLog()) {
        VEXO_LOG(LOG_INFO, "Process RA from [%s] on interface [%s]", router.c_str(),
                 ifname.c_str());
    }
    return IsRaValid(ra, len, ifname, managed);
}

/// Decides about a usable advertisement, as often as it takes to have all answers, and does it.
void IPv6Module::Consider(const std::string& ifname, const Claim& claim, bool paced) {
    const auto pace = paced ? std::optional(std::chrono::steady_clock::now()) : std::nullopt;
    Answers answers;
    answers.follows = Follows(ifname);
    for (;;) {
        const Decision decision =
            parts->records.Judge(ifname, claim, answers, std::time(nullptr), pace);
        if (decision.verdict == Verdict::kApply) {
            Apply(ifname, claim);
            return;
        }
        if (decision.verdict != Verdict::kAskNeighbour) {
            LogKept(decision);
            return;
        }
        answers.neighbour = AskNeighbour(ifname, decision.record.gateway);
        if (!answers.neighbour) {
            return;  // the module ends
        }
        if (answers.neighbour->isReachable) {
            IsRaExchangeable(ifname);  // says how long it was silent
        }
    }
}

bool IPv6Module::Follows(const std::string& ifname) {
    if (!parts->burst.lasts) {
        return Ipv6Enable(ifname);
    }
    const auto [answer, isNew] = parts->burst.follows.try_emplace(ifname);
    if (isNew) {
        answer->second = Ipv6Enable(ifname);
    }
    return answer->second;
}

/// @return nothing when the module ends
std::optional<NeighbourAnswer> IPv6Module::AskNeighbour(const std::string& ifname,
                                                        const std::string& gateway) {
    if (gateway.empty()) {
        return NeighbourAnswer{gateway, false};
    }
    const auto known = parts->burst.neighbours.find(ifname);
    if (known != parts->burst.neighbours.end() && known->second.gateway == gateway) {
        return known->second;
    }
    const auto isReachable = AnswersNeighbourDiscovery(gateway, ifname, parts->wake.Get());
    if (!isReachable) {
        return std::nullopt;
    }
    const NeighbourAnswer answer{gateway, *isReachable};
    if (parts->burst.lasts) {
        parts->burst.neighbours[ifname] = answer;
    }
    return answer;
}

void IPv6Module::LogKept(const Decision& decision) {
    const RaRecord& record = decision.record;
    if (decision.verdict == Verdict::kUnchanged && MayLog()) {
        VEXO_LOG(LOG_INFO, "State [%d] does not change.", record.state);
    }
    if (decision.verdict == Verdict::kOriginalStays && MayLog()) {
        VEXO_LOG(LOG_INFO, "Original gateway [%s] reachable.", record.gateway.c_str());
    }
}

void IPv6Module::Apply(const std::string& ifname, const Claim& claim) {
    AddGateway(claim.router, ifname);
    VEXONetIPv6ConfSet(MethodOf(StateOf(claim.managed, claim.other)), ifname.c_str(), nullptr, 0,
                       nullptr);
}

void IPv6Module::AddGateway(const std::string& router, const std::string& ifname) {
    Json::Value request(Json::objectValue);
    request["method"] = "ADD_GATEWAY_DATA";
    request["type"] = "GTYPE_V6";
    request["priority"] = -2;
    request["ifname"] = ifname;
    request["gateway"] = router;
    request["dns"] = "NULL";
    Json::Value reply;
    if (ModuleManager::GetInstance().ProcessRequest(MODULE_ROUTE, request, reply) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to add gateway data ifname=%s, gateway=%s", ifname.c_str(),
                 router.c_str());
    }
}

}  // namespace vexonetwork::network::module
