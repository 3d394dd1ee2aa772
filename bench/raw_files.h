#pragma once

#include <string>

namespace vexobench {

/// Writes, syncs and renames over `path`: the least that a file which survives a crash costs.
void WriteSyncRename(const std::string& path, const std::string& bytes);

}  // namespace vexobench
