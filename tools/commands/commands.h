#pragma once

#include <functional>

#include <CLI/CLI.hpp>

namespace vexonetctl {

/// The work of the command that the user has chosen; a Failure ends it.
using Command = std::function<void()>;

/// Each adds one group of commands to the command line. Parsing leaves the chosen one in
/// `chosen`; nothing is done before the whole line is known to be right.
void AddStatusCommand(CLI::App& app, Command& chosen);
void AddGatewayCommands(CLI::App& app, Command& chosen);
void AddIPv6Commands(CLI::App& app, Command& chosen);
void AddDeviceCommands(CLI::App& app, Command& chosen);
void AddConflictCommands(CLI::App& app, Command& chosen);
void AddRouter6Commands(CLI::App& app, Command& chosen);
void AddPrefixCommands(CLI::App& app, Command& chosen);
void AddRouteCommands(CLI::App& app, Command& chosen);
void AddPolicyCommands(CLI::App& app, Command& chosen);
void AddMonitorCommand(CLI::App& app, Command& chosen);
void AddEventsCommand(CLI::App& app, Command& chosen);

}  // namespace vexonetctl
