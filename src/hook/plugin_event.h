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
/// @return 0, or -1 with the platform's error, recorded under `file` and `line`, the caller's
int RunPluginEvent(const char* name, std::initializer_list<PluginArgument> arguments,
                   const char* file = __builtin_FILE(), int line = __builtin_LINE());

}  // namespace vexonetwork::hook
