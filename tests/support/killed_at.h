#pragma once

#include <functional>

namespace vexotest {

/// Runs work in a process of its own and kills that as it is about to do its N-th change to a
/// folder: a file that takes another's name, or goes.
/// @return whether it came so far
bool KilledAt(int step, const std::function<void()>& work);

}  // namespace vexotest
