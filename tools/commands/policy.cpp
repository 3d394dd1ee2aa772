#include <json/json.h>
#include <net/if.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <vexonetwork/network/uplink_policy.h>

#include "commands/commands.h"
#include "commands/route_work.h"
#include "facts/validation.h"
#include "failure.h"
#include "print/printable.h"
#include "print/table.h"
#include <CLI/CLI.hpp>

namespace vexonetctl {
namespace {

using vexonetwork::network::UplinkPolicy;
using vexonetwork::network::UplinkStatus;

constexpr std::size_t kGatewayColumn = 2;

struct PolicyOptions {
    bool json = false;
    bool quiet = false;
    std::vector<std::string> ifnames;
};

std::string StateOf(const UplinkStatus& uplink, const UplinkStatus::Family& family) {
    if (!uplink.exists || !uplink.isUp) {
        return uplink.exists ? "waits: it is down" : "waits: no such interface";
    }
    if (family.addresses.empty()) {
        return "waits for an address";
    }
    if (!family.isInStep) {
        return "not in step";
    }
    if (!uplink.areMarksSet.value_or(true)) {
        return "on, without marks";
    }
    return family.gateway.empty() ? "on, without a gateway" : "on";
}

std::string Joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

void AddRow(Table& table, const UplinkStatus& uplink, const UplinkStatus::Family& family) {
    std::vector<std::string> sources = family.addresses;
    sources.insert(sources.end(), family.delegated.begin(), family.delegated.end());
    table.Add({uplink.ifname, std::to_string(uplink.table), family.gateway, StateOf(uplink, family),
               Joined(sources)});
}

/// Interfaces of the gateway lists that take no part.
std::vector<std::string> Others(const std::vector<UplinkStatus>& uplinks) {
    auto names = UplinkPolicy::Candidates();
    std::erase_if(names, [&uplinks](const std::string& name) {
        return std::ranges::find(uplinks, name, &UplinkStatus::ifname) != uplinks.end();
    });
    return names;
}

Json::Value ToJson(const std::vector<std::string>& words) {
    Json::Value array(Json::arrayValue);
    for (const std::string& word : words) {
        array.append(word);
    }
    return array;
}

Json::Value ToJson(const UplinkStatus& uplink, const UplinkStatus::Family& family) {
    Json::Value object(Json::objectValue);
    object["addresses"] = ToJson(family.addresses);
    object["delegated"] = ToJson(family.delegated);
    object["gateway"] = family.gateway;
    object["in_step"] = family.isInStep;
    object["state"] = StateOf(uplink, family);
    return object;
}

void PrintJson(const std::vector<UplinkStatus>& uplinks) {
    Json::Value root(Json::arrayValue);
    for (const UplinkStatus& uplink : uplinks) {
        Json::Value object(Json::objectValue);
        object["ifname"] = uplink.ifname;
        object["enabled"] = true;
        object["table"] = uplink.table;
        object["mark"] = uplink.mark;
        object["marks_set"] =
            uplink.areMarksSet ? Json::Value(*uplink.areMarksSet) : Json::Value::nullSingleton();
        object["ipv4"] = ToJson(uplink, uplink.v4);
        object["ipv6"] = ToJson(uplink, uplink.v6);
        root.append(object);
    }
    for (const std::string& ifname : Others(uplinks)) {
        Json::Value object(Json::objectValue);
        object["ifname"] = ifname;
        object["enabled"] = false;
        root.append(object);
    }
    std::cout << root.toStyledString();
}

void ShowPolicy(const PolicyOptions& options) {
    const auto uplinks = UplinkPolicy().Status();
    if (options.json) {
        return PrintJson(uplinks);
    }
    Table table({"INTERFACE", "TABLE", "GATEWAY", "STATE", "ADDRESSES"}, kGatewayColumn);
    for (const UplinkStatus& uplink : uplinks) {
        AddRow(table, uplink, uplink.v4);
        if (!uplink.v6.addresses.empty() || !uplink.v6.gateway.empty()) {
            AddRow(table, uplink, uplink.v6);
        }
    }
    const auto others = Others(uplinks);
    for (const std::string& ifname : others) {
        table.Add({ifname, "", "", "off", ""});
    }
    if (uplinks.empty()) {
        std::cout << "policy routing is off\n";
    }
    if (!uplinks.empty() || !others.empty()) {
        table.Print(std::cout);
    }
}

void Switch(const PolicyOptions& options, bool enable) {
    RequireRoot();
    UplinkPolicy policy;
    std::vector<std::string> ifnames = options.ifnames;
    if (ifnames.empty()) {
        ifnames = enable ? UplinkPolicy::Candidates() : policy.Interfaces();
    }
    if (ifnames.empty() && enable) {
        throw Failure(kRefused, "no interface stands in a gateway list; name the uplinks");
    }
    for (const std::string& ifname : ifnames) {
        if (enable && ::if_nametoindex(ifname.c_str()) == 0) {
            std::cerr << "vexonetctl: warning: there is no interface " << Printable(ifname)
                      << " now; policy routing waits for it\n";
        }
    }
    const std::string reason = enable ? policy.Enable(ifnames) : policy.Disable(ifnames);
    if (!reason.empty()) {
        throw Failure(kRefused, reason);
    }
    if (!options.quiet) {
        const std::string names = Joined(policy.Interfaces());
        std::cout << "policy routing is " << (names.empty() ? "off" : "on for: " + names) << '\n';
    }
}

std::shared_ptr<PolicyOptions> Declare(CLI::App& group, Command& chosen, const std::string& name,
                                       const std::string& purpose,
                                       void (*work)(const PolicyOptions&),
                                       const std::string& footer) {
    CLI::App* command = group.add_subcommand(name, purpose);
    auto options = std::make_shared<PolicyOptions>();
    command->callback([&chosen, work, options] { chosen = [work, options] { work(*options); }; });
    command->footer(footer);
    return options;
}

void DeclareSwitch(CLI::App& group, Command& chosen, const std::string& name,
                   const std::string& purpose, void (*work)(const PolicyOptions&),
                   const std::string& without) {
    const auto options =
        Declare(group, chosen, name, purpose, work, "Example: vexonetctl policy " + name + " eth0");
    CLI::App* command = group.get_subcommand(name);
    command->add_option("IFNAME", options->ifnames, without)
        ->type_name("")
        ->check(CheckInterfaceName);
    command->add_flag("-q,--quiet", options->quiet, "Print nothing when it is done");
}

}  // namespace

void AddPolicyCommands(CLI::App& app, Command& chosen) {
    CLI::App* group = app.add_subcommand("policy", "Answering by the uplink that was asked");
    group->require_subcommand(1);
    group->footer("Example: vexonetctl policy enable");
    const auto status =
        Declare(*group, chosen, "status", "Show which interfaces take part, and how", ShowPolicy,
                "Example: vexonetctl policy status --json");
    group->get_subcommand("status")->add_flag("--json", status->json, "Print JSON");
    DeclareSwitch(
        *group, chosen, "enable", "Have interfaces take part",
        [](const PolicyOptions& options) { Switch(options, true); },
        "The uplinks; without any, all of the lists");
    DeclareSwitch(
        *group, chosen, "disable", "Have interfaces take part no longer",
        [](const PolicyOptions& options) { Switch(options, false); },
        "The uplinks; without any, all");
}

}  // namespace vexonetctl
