#pragma once

#include <chrono>
#include <string>

namespace vexonetwork::utils {

/// Serialises processes that share a file, by the platform's lock on a lock file. For one thread.
/// A lock that is not given back lasts until the process ends: the destructor releases nothing.
class FileLock {
  public:
    /// @param exclusive  false for a lock that several may share; the first of them that gives it
    ///                   back deletes the file, so whoever comes then need not wait for the others
    FileLock(const std::string& lockPath, bool exclusiveLock);
    virtual ~FileLock() = default;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    /// Takes the lock, which must not be held by this object: 30 tries, a second apart. The lock
    /// file and the folders above it are created.
    bool Lock();

    /// The same with other tries, and a pause after each that fails. A failure is a line in the
    /// system log, but that of a single try: who tries but once may do so again and again.
    bool Lock(std::chrono::milliseconds pause, int tries);

    /// Deletes the lock file, then releases the lock. In the other order a waiting process could
    /// lock the file just before it goes, and a third one a new file beside it: two holders. For
    /// the same reason only the file that was locked is deleted, not another one that has taken
    /// its place since somebody removed it by hand.
    /// @return false when the lock is not held, or its file was not there any more; it is released
    ///         all the same
    bool Unlock();

    /// Creates the folders above the lock file.
    bool createParentDir();

  private:
    void Tell(const char* what, int tries) const;

    int fd = -1;
    bool exclusive;
    std::string path;
};

/// Holds an exclusive FileLock while it lives.
class ScopedFileLock {
  public:
    /// Takes the lock as FileLock::Lock does; a failure is a line in the system log.
    explicit ScopedFileLock(const std::string& path,
                            std::chrono::milliseconds pause = std::chrono::seconds(1),
                            int tries = 30)
        : lock(path, true), held(lock.Lock(pause, tries)) {}
    ~ScopedFileLock() {
        if (held) {
            lock.Unlock();
        }
    }
    ScopedFileLock(const ScopedFileLock&) = delete;
    ScopedFileLock& operator=(const ScopedFileLock&) = delete;

    /// Whether it could be taken.
    explicit operator bool() const { return held; }

  private:
    FileLock lock;
    bool held;
};

}  // namespace vexonetwork::utils
