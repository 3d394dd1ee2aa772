#pragma once

#include <optional>
#include <string>
#include <vector>

#include <vexobase/unique_fd.h>

namespace vexoplatform {

/// A folder of hooks. Whoever else could change what runs from it would run it as root, so every
/// folder from / down to it must be root's, no symbolic link, and not for others to write. While
/// that is so its path leads nowhere else, and a hook in it can be started by its path.
class HookFolder {
  public:
    /// @param path  absolute
    explicit HookFolder(const std::string& path);

    /// Whether the folder could be opened, and all folders above were root's alone. What is wrong
    /// is in the log; a folder that is not there is not wrong.
    explicit operator bool() const { return static_cast<bool>(fd); }

    /// The file names of the hooks in byte order: executable regular files that root owns and
    /// nobody else may write. Other executables are left out with a log line.
    /// @return nothing, with a log line, when the folder cannot be read
    std::optional<std::vector<std::string>> List() const;

    /// Whether a name stands for a hook, as List tells it.
    bool IsHook(const std::string& name) const;

  private:
    std::string folderPath;
    vexobase::UniqueFd fd;
};

}  // namespace vexoplatform
