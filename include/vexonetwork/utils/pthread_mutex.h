#pragma once

#include <pthread.h>

namespace vexonetwork::network {

/// The lock of one module: a POSIX mutex with default attributes, so a thread that already holds it
/// must not lock it again.
class PthreadMutex {
  public:
    /// A mutex that cannot be initialised is only logged.
    PthreadMutex();
    ~PthreadMutex();
    PthreadMutex(const PthreadMutex&) = delete;
    PthreadMutex& operator=(const PthreadMutex&) = delete;

    /// @return whether the POSIX call succeeded
    bool Lock();
    bool Unlock();

    /// @return false at once when another holds it
    bool TryLock();

  private:
    pthread_mutex_t mutex;
};

}  // namespace vexonetwork::network
