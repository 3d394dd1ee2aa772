#pragma once

#include <string>
#include <string_view>

namespace vexobase {

/// What a power cut right after the replacement may bring back.
enum class FolderSync {
    kNow,    ///< nothing: the folder is synced too
    kLater,  ///< the former file; for contents that are derived or written often
};

/// Replaces the contents of a file at once: whoever opens `path`, also after a crash at any
/// moment, finds the former bytes or the new ones, never a mixture and never fewer.
///
/// The bytes go to a temporary file "PATH.tmp.XXXXXX" in the same folder, which is synced, given
/// the former file's mode and owner (0644 and the caller for a new file), and renamed over it. A
/// symbolic link is followed, so the file it names is replaced and the link stays. Only a file is
/// replaced: a folder, device or pipe of that name, or a loop of links, is a failure.
///
/// @return 0, or -1 with errno; on failure the former file is untouched and no temporary is left
[[nodiscard]] int ReplaceFile(const std::string& path, std::string_view contents,
                              FolderSync folderSync = FolderSync::kNow);

/// Whether a file of this name may be a temporary one, which a power cut has left.
bool IsTemporaryName(std::string_view name);

}  // namespace vexobase
