#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "vexo/hooks/hook_limits.h"
#include "vexo/hooks/hook_runner.h"

namespace vexoplatform {

/// How one executable of a hook ended.
struct HookEnd {
    std::optional<int> status;            ///< as wait(2) tells it
    HookLimit killed = HookLimit::kNone;  ///< the limit that it was killed for
    std::string error;  ///< why it could not be run or waited for; "" when it could
    std::chrono::milliseconds duration{};
};

/// Tells whoever listens that the executable `path` was run. Never waits and never fails: a report
/// that nobody takes is nobody's loss.
/// @param hook  "CATEGORY/NAME"
void SendHookReport(const std::string& hook, const std::string& path,
                    const HookEnvironment& environment, const HookEnd& end);

}  // namespace vexoplatform
