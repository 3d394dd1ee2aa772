#include <iostream>
#include <memory>

#include <vexobase/bus_address.h>

#include "commands/commands.h"
#include "facts/daemon.h"
#include "failure.h"
#include "print/gateway_list.h"
#include <CLI/CLI.hpp>

namespace vexonetctl {
namespace {

/// What is known also without a daemon: the routes are the kernel's.
GatewayList ReadList(const Family& family, bool serving) {
    return {family, serving ? Daemon().Entries(family) : Json::Value(Json::arrayValue),
            ReadDefaultRoute(family)};
}

void PrintJson(const DaemonState& state) {
    Json::Value root;
    root["daemon"]["running"] = state.pid > 0;
    root["daemon"]["serving"] = state.serving;
    root["daemon"]["pid"] = state.pid > 0 ? Json::Value(state.pid) : Json::Value();
    root["bus"]["address"] = vexobase::BusAddress();
    root["bus"]["reachable"] = state.busReachable;
    for (const Family& family : kFamilies) {
        const GatewayList list = ReadList(family, state.serving);
        root[family.key]["default_route"] = ToJson(list.route);
        root[family.key]["gateways"] = ToJson(list);
    }
    std::cout << root.toStyledString();
}

void PrintText(const DaemonState& state) {
    std::cout << "daemon: "
              << (state.pid > 0 ? "running, pid " + std::to_string(state.pid) : "not running")
              << "\nbus:    " << (state.busReachable ? "reachable" : "not reachable") << " at "
              << vexobase::BusAddress() << '\n';
    for (const Family& family : kFamilies) {
        std::cout << '\n';
        if (state.serving) {
            Print(std::cout, ReadList(family, true));
        } else {
            std::cout << family.name << " default route: " << Describe(ReadDefaultRoute(family))
                      << '\n';
        }
    }
}

void Status(bool json) {
    const DaemonState state = ReadDaemonState();
    json ? PrintJson(state) : PrintText(state);
    if (!state.serving) {
        throw Failure(kNotRunning, state.Trouble());
    }
}

}  // namespace

void AddStatusCommand(CLI::App& app, Command& chosen) {
    CLI::App* status =
        app.add_subcommand("status", "Show daemon, bus, default routes and gateway lists");
    const auto json = std::make_shared<bool>(false);
    status->add_flag("--json", *json, "Print JSON");
    status->footer(
        "The entry that carries the default route is marked with *.\n\n"
        "Example: vexonetctl status --json");
    status->callback([json, &chosen] { chosen = [json] { Status(*json); }; });
}

}  // namespace vexonetctl
