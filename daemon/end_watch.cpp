#include "end_watch.h"

#include <poll.h>
#include <pthread.h>
#include <string.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <span>
#include <system_error>

#include <vexo/hook_limits.h>
#include <vexobase/log.h>

namespace vexonetd {
namespace {

constexpr int kHookGraceMilliseconds = 2'000;

// No request takes as long once the hooks have ended; systemd gives the unit 35 s.
constexpr int kLongestEndMilliseconds = 30'000;
constexpr int kForever = -1;

/// @return whether one of them is readable; false when the time is over
bool Await(std::span<pollfd> events, int timeout) {
    int ready = -1;
    do {
        ready = ::poll(events.data(), events.size(), timeout);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

}  // namespace

EndWatch::EndWatch(int signals)
    : begun(::eventfd(0, EFD_CLOEXEC)), over(::eventfd(0, EFD_CLOEXEC)) {
    if (!begun || !over) {
        throw std::system_error(errno, std::generic_category(), "cannot watch the end");
    }
    thread = std::thread([this, signals] { Watch(signals); });
    ::pthread_setname_np(thread.native_handle(), "end-watch");
}

EndWatch::~EndWatch() {
    ::eventfd_write(over.Get(), 1);
    thread.join();
}

void EndWatch::Begin() {
    ::eventfd_write(begun.Get(), 1);
}

void EndWatch::Watch(int signals) const {
    // The signal itself is left to the main loop; one that hangs does not come to it.
    std::array<pollfd, 3> beginnings = {
        {{signals, POLLIN, 0}, {begun.Get(), POLLIN, 0}, {over.Get(), POLLIN, 0}}};
    Await(beginnings, kForever);
    if (VEXOHookStop != nullptr) {
        VEXOHookStop(kHookGraceMilliseconds);
    }
    if (!Await(std::span(&beginnings.back(), 1), kLongestEndMilliseconds)) {
        VEXO_LOG(LOG_ERR, "The end hangs in a request or a module; ending without it");
        ::_exit(1);
    }
}

}  // namespace vexonetd
