#pragma once

#include <chrono>
#include <map>
#include <string>

namespace vexoplatform {

/// What a hook finds in its environment, beside a minimal PATH.
using HookEnvironment = std::map<std::string, std::string>;

constexpr std::chrono::milliseconds kHookTimeout = std::chrono::seconds(30);

/// Runs the executables in /usr/vexo/hooks/CATEGORY/NAME/, one after another in byte order of
/// their names, and waits for each. They get `environment`, /dev/null as standard streams, a
/// process group of their own, and nothing else of this process.
///
/// What is not root's alone is skipped with a log line: the folder and all above it are looked at
/// before each hook, as is the hook itself, and none of them may be a symbolic link. A hook that
/// fails does not keep the next ones from running; the limits of vexo/hook_limits.h do.
/// @param environment  names of letters, digits and underscores; values without NUL. A list that
///                     is longer than a program may get (128 KiB) is cut at a comma, with a log
///                     line
/// @param timeout      for each hook; then its process group is killed
/// @return 0, also when there are no hooks; -1 when one failed or was left out for a limit, or when
///         nothing was run because an argument or the folder is bad, each with a log line
int RunHooks(const std::string& category, const std::string& name,
             const HookEnvironment& environment, std::chrono::milliseconds timeout = kHookTimeout);

}  // namespace vexoplatform
