#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace vexonetwork::utils {

/// A new file beside a target, to be renamed over it; removed again unless it was finished. Every
/// failure is a line in the system log.
class TemporaryFile {
  public:
    /// @param target  the new path is this and ".tmp.XXXXXX", cut where the platform's path buffers
    ///                end
    explicit TemporaryFile(const std::string& target);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    /// Creates the file, mode 0600, and opens it for writing. When it cannot even be created, the
    /// process keeps umask 0177.
    bool Open();

    /// Brings the contents to the disk and closes the file, which then stays. What is longer than
    /// vexobase::kMaxFileBytes is a failure.
    bool Finish();

    FILE* Stream() const { return stream.get(); }
    const std::string& Path() const { return path; }

  private:
    // Most files go to the kernel in one call.
    static constexpr std::size_t kBufferSize = 32768;

    std::string path;
    bool created = false;
    char buffer[kBufferSize];
    std::unique_ptr<FILE, decltype(&std::fclose)> stream{nullptr, &std::fclose};
};

/// Removes a file if it is there; a failure is a line in the system log.
void RemoveIfThere(const std::string& path);

}  // namespace vexonetwork::utils
