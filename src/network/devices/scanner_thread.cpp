#include "network/devices/scanner_thread.h"

#include <poll.h>
#include <pthread.h>
#include <string.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <exception>
#include <string>
#include <system_error>
#include <utility>

#include <vexobase/log.h>

namespace vexonetwork::network {

namespace {

constexpr auto kFirstPause = std::chrono::milliseconds(100);
constexpr std::chrono::milliseconds kLongestPause = std::chrono::minutes(1);

/// @return whether the work has come to its end
bool Attempt(const ScannerThread::Work& work, int stop, const char* name) {
    try {
        work(stop);
        return true;
    } catch (const std::exception& error) {
        VEXO_LOG(LOG_ERR, "%s has failed and begins anew: %.200s", name, error.what());
        return false;
    }
}

bool IsStopped(int stop, std::chrono::milliseconds patience) {
    pollfd event = {stop, POLLIN, 0};
    return ::poll(&event, 1, static_cast<int>(patience.count())) > 0;
}

void Run(const ScannerThread::Work& work, int stop, const std::string& name) {
    auto pause = kFirstPause;
    while (!Attempt(work, stop, name.c_str()) && !IsStopped(stop, pause)) {
        pause = std::min(2 * pause, kLongestPause);
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
        thread = std::thread(Run, std::move(work), stop.Get(), std::string(name));
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
