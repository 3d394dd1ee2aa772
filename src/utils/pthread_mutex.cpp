#include <vexobase/log.h>
#include <vexonetwork/utils/pthread_mutex.h>

namespace vexonetwork::network {

PthreadMutex::PthreadMutex() {
    if (::pthread_mutex_init(&mutex, nullptr) != 0) {
        VEXO_LOG_AT(14, LOG_ERR, "Failed to init mutex");
    }
}

PthreadMutex::~PthreadMutex() {
    ::pthread_mutex_destroy(&mutex);
}

bool PthreadMutex::Lock() {
    return ::pthread_mutex_lock(&mutex) == 0;
}

bool PthreadMutex::Unlock() {
    return ::pthread_mutex_unlock(&mutex) == 0;
}

bool PthreadMutex::TryLock() {
    return ::pthread_mutex_trylock(&mutex) == 0;
}

}  // namespace vexonetwork::network
