#include "supervision.h"

#include <glib-unix.h>
#include <vexoservice/signals.h>
#include <vexoservice/supervisor.h>

#include <atomic>
#include <chrono>

#include <vexo/hook_limits.h>
#include <vexonetsdk/dbus_server.h>

namespace vexonetd {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using vexoservice::TellSupervisor;

/// A loop that hangs must be found although hooks of other threads' requests may never end: the
/// loop waits for its own hooks, and for those of requests before it.
constexpr auto kMaxHookTime = std::chrono::minutes(2);

std::atomic<steady_clock::rep> lastTurn = 0;

gboolean OnSignal(gint signals, GIOCondition, gpointer server) {
    if (vexoservice::TakeSignal(signals)) {
        static_cast<vexonetsdk::dbus::DBusServer*>(server)->QuitLoop();
    }
    return G_SOURCE_CONTINUE;
}

gboolean OnWatchdog(gpointer) {
    lastTurn = steady_clock::now().time_since_epoch().count();
    TellSupervisor("WATCHDOG=1");
    return G_SOURCE_CONTINUE;
}

/// On the thread that waits for a hook.
void OnHookProgress() {
    const steady_clock::time_point turn{steady_clock::duration(lastTurn)};
    if (steady_clock::now() - turn < kMaxHookTime) {
        TellSupervisor("WATCHDOG=1");
    }
}

guint StartWatchdog() {
    const auto interval = vexoservice::WatchdogInterval();
    if (!interval) {
        return 0;
    }
    lastTurn = steady_clock::now().time_since_epoch().count();
    const auto count = duration_cast<milliseconds>(*interval).count();
    if (VEXOHookWatch != nullptr) {
        VEXOHookWatch(OnHookProgress, static_cast<int>(count));
    }
    return g_timeout_add(static_cast<guint>(count), OnWatchdog, nullptr);
}

}  // namespace

Supervision::Supervision(int signals, vexonetsdk::dbus::DBusServer& server)
    : signalSource(g_unix_fd_add(signals, G_IO_IN, OnSignal, &server)),
      watchdogSource(StartWatchdog()),
      readySource(g_idle_add_full(G_PRIORITY_HIGH, OnReady, this, nullptr)) {}

Supervision::~Supervision() {
    if (VEXOHookWatch != nullptr) {
        VEXOHookWatch(nullptr, 0);
    }
    TellSupervisor("STOPPING=1");
    for (const guint source : {signalSource, watchdogSource, readySource}) {
        if (source != 0) {
            g_source_remove(source);
        }
    }
}

gboolean Supervision::OnReady(gpointer self) {
    auto* supervision = static_cast<Supervision*>(self);
    supervision->ready = true;
    supervision->readySource = TellSupervisor("READY=1")
                                   ? 0
                                   : g_timeout_add(vexoservice::kTellAgain.count(), OnReady, self);
    return G_SOURCE_REMOVE;
}

}  // namespace vexonetd
