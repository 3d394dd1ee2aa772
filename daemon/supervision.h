#pragma once

#include <glib.h>

#include <vexobase/unique_fd.h>

namespace vexonetsdk::dbus {
class DBusServer;
}

namespace vexonetd {

/// SIGTERM and SIGINT as a descriptor, so that they are handled by the main loop like everything
/// else. Made before the first thread starts: threads inherit the mask that keeps the signals
/// from killing the process.
///
/// SIGPIPE is ignored from then on: a bus or a log that went away is an error of the call that
/// meets it.
/// @return the signalfd, or none with errno
vexobase::UniqueFd TakeSignals();

/// What ties the daemon to its supervisor: a signal ends the server's loop, and the supervisor is
/// told that the daemon is ready, that its loop still turns (sd_notify(3), WATCHDOG=1 at half the
/// asked interval), and that it stops.
class Supervision {
  public:
    /// @param signals  of TakeSignals; outlives this
    /// @param server   whose loop a signal ends; outlives this
    Supervision(int signals, vexonetsdk::dbus::DBusServer& server);
    ~Supervision();
    Supervision(const Supervision&) = delete;
    Supervision& operator=(const Supervision&) = delete;

    /// Whether the loop has ever turned: a server without a bus ends it before that.
    bool WasReady() const { return ready; }

  private:
    static gboolean OnFirstTurn(gpointer self);

    bool ready = false;
    guint signalSource;
    guint watchdogSource;
    guint readySource;
};

}  // namespace vexonetd
