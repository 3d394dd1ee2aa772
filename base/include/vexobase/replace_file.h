#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

namespace vexobase {

/// Replaces the contents of a file at once: whoever opens `path`, also after a crash at any
/// moment, finds the former bytes or the new ones, never a mixture and never fewer.
///
/// The bytes go to a temporary file "PATH.tmp.XXXXXX" in the same folder, which is synced, given
/// the former file's mode and owner, and renamed over it; then the folder is synced. A symbolic
/// link is followed, so the file it names is replaced and the link stays.
///
/// @param newFileMode  permission bits when there is no former file
/// @return 0, or -1 with errno; on failure the former file is untouched and no temporary is left
[[nodiscard]] int ReplaceFile(const std::string& path, std::string_view contents,
                              mode_t newFileMode = 0644);

}  // namespace vexobase
