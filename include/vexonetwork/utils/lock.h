#pragma once

#include <string>

namespace vexonetwork::utils {

/// Serialises processes that share a file, by the platform's lock on a lock file. For one thread.
/// A lock that is not given back lasts until the process ends: the destructor releases nothing.
class FileLock {
  public:
    /// @param exclusive  false for a lock that several may share
    FileLock(const std::string& lockPath, bool exclusiveLock);
    virtual ~FileLock() = default;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    /// Takes the lock, which must not be held by this object: 30 tries, a second apart. The lock
    /// file and the folders above it are created.
    bool Lock();

    /// Gives the lock back and deletes the lock file.
    /// @return false when the lock is not held or the file cannot be deleted
    bool Unlock();

    /// Creates the folders above the lock file.
    bool createParentDir();

  private:
    int fd = -1;
    bool exclusive;
    std::string path;
};

}  // namespace vexonetwork::utils
