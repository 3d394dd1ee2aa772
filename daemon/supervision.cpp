#include "supervision.h"

#include <glib-unix.h>
#include <signal.h>
#include <string.h>
#include <sys/signalfd.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <cstdint>

#include <vexobase/log.h>
#include <vexonetsdk/dbus_server.h>

namespace vexonetd {
namespace {

/// Without a supervisor there is nobody to tell, which is no failure.
void Tell(const char* state) {
    if (const int result = ::sd_notify(0, state); result < 0) {
        VEXO_LOG(LOG_ERR, "Failed to tell the supervisor %s: %s", state, ::strerror(-result));
    }
}

gboolean OnSignal(gint fd, GIOCondition, gpointer server) {
    signalfd_siginfo signal{};
    if (::read(fd, &signal, sizeof signal) == sizeof signal) {
        VEXO_LOG(LOG_INFO, "Ending on signal %u of process %u", signal.ssi_signo, signal.ssi_pid);
        static_cast<vexonetsdk::dbus::DBusServer*>(server)->QuitLoop();
    }
    return G_SOURCE_CONTINUE;
}

gboolean OnWatchdog(gpointer) {
    Tell("WATCHDOG=1");
    return G_SOURCE_CONTINUE;
}

guint StartWatchdog() {
    uint64_t interval = 0;
    const int asked = ::sd_watchdog_enabled(0, &interval);
    if (asked < 0) {
        VEXO_LOG(LOG_ERR, "Failed to read the watchdog interval: %s", ::strerror(-asked));
    }
    constexpr uint64_t kMicrosecondsPerHalfMillisecond = 2000;
    return asked > 0 ? g_timeout_add(guint(interval / kMicrosecondsPerHalfMillisecond), OnWatchdog,
                                     nullptr)
                     : 0;
}

}  // namespace

vexobase::UniqueFd TakeSignals() {
    ::signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGTERM);
    ::sigaddset(&signals, SIGINT);
    if (::sigprocmask(SIG_BLOCK, &signals, nullptr) != 0) {
        return vexobase::UniqueFd();
    }
    return vexobase::UniqueFd(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

Supervision::Supervision(int signals, vexonetsdk::dbus::DBusServer& server)
    : signalSource(g_unix_fd_add(signals, G_IO_IN, OnSignal, &server)),
      watchdogSource(StartWatchdog()),
      readySource(g_idle_add_full(G_PRIORITY_HIGH, OnFirstTurn, this, nullptr)) {}

Supervision::~Supervision() {
    Tell("STOPPING=1");
    for (const guint source : {signalSource, watchdogSource, readySource}) {
        if (source != 0) {
            g_source_remove(source);
        }
    }
}

gboolean Supervision::OnFirstTurn(gpointer self) {
    auto* supervision = static_cast<Supervision*>(self);
    supervision->ready = true;
    supervision->readySource = 0;
    Tell("READY=1");
    return G_SOURCE_REMOVE;
}

}  // namespace vexonetd
