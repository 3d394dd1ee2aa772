#pragma once

#include <chrono>
#include <string>

namespace vexoplatform {

/// What ends a hook that has not ended by itself, or keeps one from beginning.
enum class HookLimit {
    kNone,
    kOwn,      ///< the time that each hook has
    kRequest,  ///< the time of all hooks of the request that this thread serves
    kStop,     ///< this process is to end
};

/// Whether this thread may begin a hook.
/// @return kNone, kRequest or kStop
HookLimit LimitNow();

/// Waits for the end of a hook, and counts the time to the request that this thread serves.
/// @param process  a descriptor of the process (pidfd_open(2))
/// @param timeout  of this hook
/// @return kNone when it has ended, or the limit that it has met
HookLimit AwaitHook(int process, std::chrono::milliseconds timeout);

/// Why a limit was met, to follow what became of the hook: ", as this process ends".
std::string Reason(HookLimit limit);

}  // namespace vexoplatform
