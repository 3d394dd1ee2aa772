#include "print/gateway_explanation.h"

#include <algorithm>
#include <ostream>

#include <vexo/net_interface.h>
#include <vexonetwork/network/gateway_election.h>
#include <vexonetwork/utils/utils.h>

#include "facts/entry.h"
#include "facts/refusal.h"
#include "print/gateway_list.h"
#include "print/printable.h"
#include "print/table.h"

namespace vexonetctl {
namespace {

using vexonetwork::network::module::ElectionFacts;
using vexonetwork::network::module::GatewayInfo;
using vexonetwork::network::module::Verdict;

constexpr std::size_t kGatewayColumn = 2;

GatewayInfo ToGatewayInfo(const Json::Value& entry) {
    GatewayInfo info;
    info.ifname = Text(entry, "ifname");
    info.interfaceClass = Text(entry, "class");
    info.gateway = Text(entry, "gateway");
    info.slave = IsSlave(entry);
    return info;
}

ElectionFacts AskKernel(const Family& family) {
    return {[](const GatewayInfo& entry) {
                return vexonetwork::network::IsEthernetLinkDetected(entry.ifname);
            },
            [](const GatewayInfo& entry) {
                VEXONETIFINFO info{};
                return ::VEXONetIFGetInfo(entry.ifname.c_str(), &info, 0) == 0;
            },
            [&family](const GatewayInfo& entry) {
                return WhyRefused(family, entry.ifname, entry.gateway).empty();
            }};
}

std::string WhyNoLink(const std::string& ifname) {
    const int isUp = ::VEXONetIsIFUp(ifname.c_str());
    return isUp < 0 ? "no such interface" : isUp == 0 ? "the interface is down" : "";
}

Explained Explain(const Family& family, const Json::Value& entry, Verdict verdict) {
    const std::string ifname = Text(entry, "ifname");
    switch (verdict) {
        case Verdict::SLAVE:
            return {entry, "slave", ""};
        case Verdict::NO_LINK:
            return {entry, "no_link", WhyNoLink(ifname)};
        case Verdict::NO_GATEWAY:
            return {entry, "no_gateway", ""};
        case Verdict::NO_INTERFACE:
            return {entry, "no_interface", ""};
        case Verdict::REFUSED:
            return {entry, "refused", WhyRefused(family, ifname, Text(entry, "gateway"))};
        case Verdict::TAKEN:
            return {entry, "taken", ""};
        case Verdict::NOT_TRIED:
            break;
    }
    return {entry, "not_tried", "an earlier one is taken"};
}

DefaultRoute RouteOf(const Json::Value& entry) {
    const std::string gateway = Text(entry, "gateway");
    return {gateway == "::" ? "" : gateway, Text(entry, "ifname")};
}

/// "no link: the interface is down"
std::string Sentence(const Explained& candidate) {
    std::string text = candidate.verdict;
    std::ranges::replace(text, '_', ' ');
    return candidate.reason.empty() ? text : text + ": " + candidate.reason;
}

bool IsOfTheList(const Explanation& explanation) {
    return std::ranges::any_of(explanation.candidates, [&](const Explained& candidate) {
        return CarriesDefaultRoute(explanation.family, candidate.entry, explanation.installed);
    });
}

/// Elections leave an IPv6 route that names the interface alone to whoever else made it.
std::string HowToElect(const Explanation& explanation) {
    const std::string flag = explanation.family.flag;
    const bool stays = explanation.family.number == AF_INET6 && explanation.installed
                       && explanation.installed->gateway.empty();
    return std::string(stays ? "ip -6 route delete default; " : "") + "vexonetctl gateway refresh "
           + flag;
}

}  // namespace

Explanation ExplainElection(const Family& family, const Json::Value& entries) {
    std::vector<GatewayInfo> gateways;
    std::ranges::transform(entries, std::back_inserter(gateways), ToGatewayInfo);
    const auto type = family.number == AF_INET ? vexonetwork::network::module::GTYPE_V4
                                               : vexonetwork::network::module::GTYPE_V6;
    const auto verdicts = WalkGateways(type, gateways, AskKernel(family));
    Explanation explanation{family, {}, std::nullopt, ReadDefaultRoute(family), false};
    for (std::size_t i = 0; i < gateways.size(); ++i) {
        const Json::Value& entry = entries[Json::ArrayIndex(i)];
        explanation.candidates.push_back(Explain(family, entry, verdicts[i]));
    }
    explanation.agree = !explanation.installed;
    if (const auto winner = WinnerOf(verdicts)) {
        const Json::Value& entry = entries[Json::ArrayIndex(*winner)];
        explanation.elected = RouteOf(entry);
        explanation.agree = CarriesDefaultRoute(family, entry, explanation.installed);
    }
    return explanation;
}

Advice AdviceOn(const Explanation& explanation) {
    if (explanation.agree || explanation.candidates.empty()) {
        return {};
    }
    const bool isOurs = IsOfTheList(explanation);
    if (!explanation.elected) {
        return {isOurs ? "No entry could carry the default route now; it is left from before."
                       : "No entry could carry the default route; someone else installed it.",
                ""};
    }
    return {isOurs || !explanation.installed
                ? "The list or the network has changed since the last election."
                : "Someone else installed this default route.",
            HowToElect(explanation)};
}

void Print(std::ostream& out, const Explanation& explanation) {
    if (explanation.candidates.empty()) {
        out << "no " << explanation.family.name << " gateways: elections change nothing\n";
    } else {
        Table table(
            {"#", "INTERFACE", "GATEWAY", explanation.family.name + std::string(" ELECTION")},
            kGatewayColumn);
        for (const Explained& candidate : explanation.candidates) {
            table.Add({std::to_string(Place(candidate.entry)), Text(candidate.entry, "ifname"),
                       Text(candidate.entry, "gateway"), Sentence(candidate)});
        }
        table.Print(out);
    }
    out << "elected:   " << Printable(Describe(explanation.elected))
        << "\ninstalled: " << Printable(Describe(explanation.installed)) << '\n';
    const Advice advice = AdviceOn(explanation);
    if (!advice.meaning.empty()) {
        out << advice.meaning << '\n';
    }
    if (!advice.command.empty()) {
        out << "To have the elected one: " << advice.command << '\n';
    }
}

Json::Value ToJson(const Explanation& explanation) {
    Json::Value root(Json::objectValue);
    root["candidates"] = Json::Value(Json::arrayValue);
    for (const Explained& candidate : explanation.candidates) {
        Json::Value told = candidate.entry;
        told["verdict"] = candidate.verdict;
        told["reason"] = candidate.reason;
        root["candidates"].append(told);
    }
    root["elected"] = ToJson(explanation.elected);
    root["installed"] = ToJson(explanation.installed);
    root["agree"] = explanation.agree;
    const Advice advice = AdviceOn(explanation);
    root["meaning"] = advice.meaning;
    root["command"] = advice.command;
    return root;
}

}  // namespace vexonetctl
