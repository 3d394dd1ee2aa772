#include "network/devices/scanner_thread.h"

#include <pthread.h>
#include <string.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <exception>
#include <system_error>
#include <utility>

#include <vexobase/log.h>

namespace vexonetwork::network {

namespace {

void Run(const ScannerThread::Work& work, int stop) {
    try {
        work(stop);
    } catch (const std::exception& error) {
        VEXO_LOG(LOG_ERR, "A scanner has ended: %.200s", error.what());
    }
}

}  // namespace

int ScannerThread::Start(const char* name, Work work) {
    if (thread.joinable()) {
        return 0;
    }
    stop.Reset(::eventfd(0, EFD_CLOEXEC));
    if (!stop) {
        VEXO_LOG(LOG_ERR, "Failed to start %s: %s", name, ::strerror(errno));
        return -1;
    }
    try {
        thread = std::thread(Run, std::move(work), stop.Get());
    } catch (const std::system_error& error) {
        VEXO_LOG(LOG_ERR, "Failed to start %s: %s", name, error.what());
        return -1;
    }
    ::pthread_setname_np(thread.native_handle(), name);
    return 0;
}

void ScannerThread::Stop() {
    if (thread.joinable()) {
        ::eventfd_write(stop.Get(), 1);
        thread.join();
    }
}

}  // namespace vexonetwork::network
