#include <net/if.h>

#include <array>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <vexo/ipv6_conf.h>

#include "commands/commands.h"
#include "facts/daemon.h"
#include "facts/router_record.h"
#include "facts/validation.h"
#include "failure.h"
#include "print/table.h"
#include <CLI/CLI.hpp>

namespace vexonetctl {
namespace {

/// One interface: how it is configured, and the router that the daemon follows there.
struct InterfaceStatus {
    std::string ifname;
    std::string method;
    RouterRecord router;
};

std::string MethodOf(const std::string& ifname) {
    static constexpr std::array kWords = {"auto", "off", "dhcp", "manual", "slaac-dhcp"};
    int method = 0;
    if (VEXONetIPv6ConfGet(ifname.c_str(), &method, nullptr, 0, nullptr, nullptr, 0) != 0
        || method < 0 || method >= static_cast<int>(kWords.size())) {
        return "unknown";
    }
    return kWords[static_cast<std::size_t>(method)];
}

/// The flags M and O that were last applied, as the daemon counts them.
std::string StateWord(int state) {
    static constexpr std::array kWords = {"none", "managed", "slaac", "other"};
    return state >= 0 && state < static_cast<int>(kWords.size())
               ? kWords[static_cast<std::size_t>(state)]
               : "unknown";
}

std::vector<std::string> InterfaceNames() {
    const std::unique_ptr<struct if_nameindex, decltype(&::if_freenameindex)> list(
        ::if_nameindex(), &::if_freenameindex);
    std::vector<std::string> names;
    for (auto* each = list.get(); each != nullptr && each->if_index != 0; ++each) {
        if (std::string(each->if_name) != "lo") {
            names.emplace_back(each->if_name);
        }
    }
    return names;
}

std::vector<InterfaceStatus> ReadStatus() {
    const Json::Value routers = ReadRouters();
    std::vector<InterfaceStatus> all;
    for (const std::string& ifname : InterfaceNames()) {
        all.push_back({ifname, MethodOf(ifname), RecordOf(routers, ifname)});
    }
    return all;
}

void PrintJson(const std::vector<InterfaceStatus>& all) {
    Json::Value root(Json::objectValue);
    for (const InterfaceStatus& each : all) {
        Json::Value& entry = root[each.ifname];
        entry["method"] = each.method;
        entry["state"] = StateWord(each.router.state);
        entry["router"] = each.router.gateway;
        entry["age"] = each.router.age ? Json::Value(Json::Int64(*each.router.age)) : Json::Value();
    }
    std::cout << root.toStyledString();
}

void PrintTable(const std::vector<InterfaceStatus>& all) {
    Table table({"INTERFACE", "METHOD", "STATE", "AGE", "ROUTER"});
    for (const InterfaceStatus& each : all) {
        const RouterRecord& router = each.router;
        table.Add({each.ifname, each.method, StateWord(router.state),
                   router.age ? std::to_string(*router.age) + " s" : "-",
                   router.gateway.empty() ? "-" : router.gateway});
    }
    table.Print(std::cout);
}

void ShowStatus(bool json) {
    const auto all = ReadStatus();
    json ? PrintJson(all) : PrintTable(all);
    // Without a daemon the routers are what the last one knew.
    if (const DaemonState state = ReadDaemonState(); !state.serving) {
        throw Failure(kNotRunning, state.Trouble());
    }
}

void DeclareStatus(CLI::App& group, Command& chosen) {
    CLI::App* status =
        group.add_subcommand("status", "Show how interfaces get IPv6, and from which router");
    const auto json = std::make_shared<bool>(false);
    status->add_flag("--json", *json, "Print JSON");
    status->footer(
        "State is what the router's last advertisement asked for, age the seconds since then.\n\n"
        "Example: vexonetctl ipv6 status --json");
    status->callback([json, &chosen] { chosen = [json] { ShowStatus(*json); }; });
}

void DeclareReset(CLI::App& group, Command& chosen) {
    CLI::App* reset = group.add_subcommand("reset", "Forget the router of an interface");
    const auto ifname = std::make_shared<std::string>();
    reset->add_option("IFNAME", *ifname, "The interface")
        ->required()
        ->type_name("")
        ->check(CheckInterfaceName);
    reset->footer(
        "The next router that advertises itself takes its place. The gateway stays until then.\n\n"
        "Example: vexonetctl ipv6 reset eth0");
    reset->callback([ifname, &chosen] { chosen = [ifname] { Daemon().ForgetRouter(*ifname); }; });
}

}  // namespace

void AddIPv6Commands(CLI::App& app, Command& chosen) {
    CLI::App* group = app.add_subcommand("ipv6", "Routers that advertise themselves");
    group->require_subcommand(1);
    group->footer("Example: vexonetctl ipv6 status");
    DeclareStatus(*group, chosen);
    DeclareReset(*group, chosen);
}

}  // namespace vexonetctl
