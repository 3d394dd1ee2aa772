#pragma once

#include <vexonetwork/utils/pthread_mutex.h>

namespace vexonetwork::network::module {

/// Holds the mutex that serialises requests and the calls of the follower.
class RequestGuard {
  public:
    explicit RequestGuard(PthreadMutex& requestMutex) : mutex(requestMutex) { mutex.Lock(); }
    ~RequestGuard() { mutex.Unlock(); }
    RequestGuard(const RequestGuard&) = delete;
    RequestGuard& operator=(const RequestGuard&) = delete;

  private:
    PthreadMutex& mutex;
};

}  // namespace vexonetwork::network::module
