#pragma once

#include <glib.h>

namespace vexonetsdk::dbus {
class DBusServer;
}

namespace vexonetd {

/// What ties the daemon to its supervisor: a signal ends the server's loop, and the supervisor is
/// told that the daemon is ready, that its loop still turns (sd_notify(3), WATCHDOG=1 at half the
/// asked interval), and that it stops. While a request waits for hooks that have time left, the
/// supervisor is told so in the loop's place, for two minutes after its last turn at most.
///
/// To be made on the thread of the main loop; one at a time.
class Supervision {
  public:
    /// @param signals  of vexoservice::TakeSignals; outlives this
    /// @param server   whose loop a signal ends; outlives this
    Supervision(int signals, vexonetsdk::dbus::DBusServer& server);
    ~Supervision();
    Supervision(const Supervision&) = delete;
    Supervision& operator=(const Supervision&) = delete;

    /// Whether the loop has ever turned: a server without a bus ends it before that.
    bool WasReady() const { return ready; }

  private:
    static gboolean OnReady(gpointer self);

    bool ready = false;
    guint signalSource;
    guint watchdogSource;
    guint readySource;
};

}  // namespace vexonetd
