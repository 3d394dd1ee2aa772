#include <unistd.h>

#include <deque>
#include <iostream>
#include <memory>
#include <string>

#include <vexo/systemd.h>
#include <vexonetwork/network/ip_conflict_detect.h>
#include <vexonetwork/utils/json_reader.h>

#include "commands/commands.h"
#include "facts/event_file.h"
#include "failure.h"
#include "print/logged_event.h"
#include "print/table.h"
#include <CLI/CLI.hpp>

namespace vexonetctl {
namespace {

using vexonetwork::network::IPConflictDetect;

constexpr char kUnit[] = "ip-conflict-detect";
constexpr std::size_t kSearchedLines = 10'000;
constexpr std::size_t kShownConflicts = 10;

struct ConflictStatus {
    bool isEnabled = false;
    int running = -1;  ///< 1, 0, or -1 when the system manager cannot be asked
    std::deque<LoggedEvent> conflicts;
};

/// The last conflicts of the event log, the latest last.
std::deque<LoggedEvent> LastConflicts() {
    std::deque<LoggedEvent> conflicts;
    VisitLastLines(kEventLog, kSearchedLines, [&conflicts](const std::string& line) {
        Json::Value entry;
        if (!vexonetwork::utils::ParseJson(line, entry)) {
            return;
        }
        const auto event = ReadLoggedEvent(entry);
        if (!event || event->number != kConflictEvent || event->arguments.size() < 3) {
            return;
        }
        conflicts.push_back(*event);
        if (conflicts.size() > kShownConflicts) {
            conflicts.pop_front();
        }
    });
    return conflicts;
}

void PrintJson(const ConflictStatus& status) {
    Json::Value root(Json::objectValue);
    root["enabled"] = status.isEnabled;
    root["running"] = status.running < 0 ? Json::Value() : Json::Value(status.running == 1);
    root["conflicts"] = Json::Value(Json::arrayValue);
    for (const LoggedEvent& event : status.conflicts) {
        Json::Value& entry = root["conflicts"].append(Json::objectValue);
        entry["time"] = event.time;
        entry["ifname"] = event.arguments[0];
        entry["address"] = event.arguments[1];
        entry["mac"] = event.arguments[2];
    }
    std::cout << root.toStyledString();
}

void PrintText(const ConflictStatus& status) {
    static constexpr const char* kWords[] = {"unknown", "not running", "running"};
    std::cout << "detection: " << (status.isEnabled ? "on" : "off")
              << "\nservice:   " << kWords[status.running + 1] << "\n\n";
    if (status.conflicts.empty()) {
        std::cout << "no conflicts yet\n";
        return;
    }
    Table table({"TIME", "INTERFACE", "ADDRESS", "ALSO USED BY"});
    for (const LoggedEvent& event : status.conflicts) {
        table.Add({LocalTimeOf(event), event.arguments[0], event.arguments[1], event.arguments[2]});
    }
    table.Print(std::cout);
}

void ShowStatus(bool json) {
    const ConflictStatus status{.isEnabled = IPConflictDetect::IsEnable(),
                                .running = VEXOCSystemdActiveStatusGet(kUnit),
                                .conflicts = LastConflicts()};
    json ? PrintJson(status) : PrintText(status);
    if (status.isEnabled && status.running == 0) {
        throw Failure(kNotRunning,
                      "the detection is on, but its service does not run; start it with: "
                      "vexonetctl conflict enable");
    }
}

void Switch(bool on) {
    if (::geteuid() != 0) {
        throw Failure(kRefused, "only root may switch the detection");
    }
    if (on ? IPConflictDetect::Enable() : IPConflictDetect::Disable()) {
        return;
    }
    if (IPConflictDetect::IsEnable() != on) {
        throw Failure(kRefused, "the switch cannot be written below /usr/vexo/etc");
    }
    throw Failure(kRefused, std::string("the switch is set, but the service cannot be ")
                                + (on ? "started" : "stopped") + "; see: systemctl status "
                                + kUnit);
}

void DeclareSwitch(CLI::App& group, Command& chosen, bool on) {
    const std::string name = on ? "enable" : "disable";
    CLI::App* command = group.add_subcommand(
        name, on ? "Detect conflicts from now on" : "Detect conflicts no longer");
    command->footer(std::string(on ? "The service runs now and after each boot."
                                   : "The service stops, and stays off after a boot.")
                    + "\n\nExample: vexonetctl conflict " + name);
    command->callback([on, &chosen] { chosen = [on] { Switch(on); }; });
}

void DeclareStatus(CLI::App& group, Command& chosen) {
    CLI::App* status =
        group.add_subcommand("status", "Show switch, service and the last conflicts");
    const auto json = std::make_shared<bool>(false);
    status->add_flag("--json", *json, "Print JSON");
    status->footer(
        "Times are local. With --json they are in UTC.\n\n"
        "Example: vexonetctl conflict status --json");
    status->callback([json, &chosen] { chosen = [json] { ShowStatus(*json); }; });
}

}  // namespace

void AddConflictCommands(CLI::App& app, Command& chosen) {
    CLI::App* group =
        app.add_subcommand("conflict", "Other hosts that use an address of this machine");
    group->require_subcommand(1);
    group->footer("Example: vexonetctl conflict status");
    DeclareSwitch(*group, chosen, true);
    DeclareSwitch(*group, chosen, false);
    DeclareStatus(*group, chosen);
}

}  // namespace vexonetctl
