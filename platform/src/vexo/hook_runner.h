#pragma once

#include <chrono>
#include <map>
#include <string>

namespace vexoplatform {

/// What a hook finds in its environment, beside a minimal PATH.
using HookEnvironment = std::map<std::string, std::string>;

/// Where the folders CATEGORY/NAME of the hooks stand.
constexpr char kHookFolder[] = "/usr/vexo/hooks";

constexpr std::chrono::milliseconds kHookTimeout = std::chrono::seconds(30);

/// Whether anything may be in a folder of hooks; a few microseconds.
/// @return false when it certainly is not there or has no entries
bool MayHoldHooks(const char* path);

/// Runs the executables in /usr/vexo/hooks/CATEGORY/NAME/, one after another in byte order of
/// their names, and waits for each. They get `environment`, /dev/null as standard streams, a
/// process group of their own, and nothing else of this process.
///
/// A folder or file that is not root's, or that others may write, is skipped with a log line;
/// so is a symbolic link. A hook that fails does not keep the next ones from running.
/// @param environment  names of letters, digits and underscores; values without NUL. A list that
///                     is longer than a program may get (128 KiB) is cut at a comma, with a log
///                     line
/// @param timeout      for each hook; then its process group is killed
/// @return 0, also when there is no such folder or it is empty; -1 when a hook failed (each with a
/// log line), or
///         when nothing was run because an argument or the folder is bad
int RunHooks(const std::string& category, const std::string& name,
             const HookEnvironment& environment, std::chrono::milliseconds timeout = kHookTimeout);

}  // namespace vexoplatform
