#pragma once

namespace vexobase {

/// Where the folders CATEGORY/NAME of the hooks stand.
inline constexpr char kHookFolder[] = "/usr/vexo/hooks";

/// Whether there may be hooks for an event, so that a caller with costly arguments can spare them.
/// Costs one look into a folder, a few microseconds.
/// @param category, name  of at most NAME_MAX bytes each
/// @return false when the event's folder is certainly not there or has no entries
bool MayHaveHooks(const char* category, const char* name);

}  // namespace vexobase
