#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <utility>

namespace vexonetwork::hook {

/// "true" or "false": whether the interface is up with its link detected. Nothing when there is
/// no such interface.
std::optional<std::string> LinkWord(const std::string& ifname);

using PluginArgument = std::pair<const char*, const std::string&>;

/// Runs the plug-in action "net/NAME" with the arguments, set in their order, and waits for its
/// end.
/// @return 0 or -1
int RunPluginEvent(const char* name, std::initializer_list<PluginArgument> arguments);

}  // namespace vexonetwork::hook
