#pragma once

#include <dbus/dbus-glib.h>

#include <memory>
#include <string>

namespace vexonetsdk::dbus {

/// One object on a message bus, served by dbus-glib on the thread that runs the loop.
class DBusServer {
  public:
    /// @param busName  well-known name to own
    /// @param path     object path
    /// @param busType  a DBusBusType, meant as by DBusClient
    DBusServer(const std::string& busName, const std::string& path, int busType);
    virtual ~DBusServer();
    DBusServer(const DBusServer&) = delete;
    DBusServer& operator=(const DBusServer&) = delete;

    /// Connects, exports `object` with the methods of `info`, then takes the bus name, so that
    /// whoever sees the name can call.
    /// @return 0, or -1 with a log line (no bus, or the name has an owner)
    int Initialize(GType type, const DBusGObjectInfo* info, GObject* object);

    /// Serves until QuitLoop is called or the bus goes away.
    /// @return 0 after QuitLoop, -1 when the bus went away or Initialize did not succeed
    int StartLoop();

    /// Ends StartLoop, the next one when none runs. May be called from any thread.
    void QuitLoop();

  private:
    struct State;
    std::unique_ptr<State> state;
};

}  // namespace vexonetsdk::dbus
