#pragma once

#include <vexonetsdk/dbus_server.h>

namespace vexonetwork::dbus {

/// The daemon's object on the bus: eleven methods, each handing one request to the module manager
/// (com.vexo.network.xml lists them). Construction exports the object and takes the bus name; when
/// that fails, StartLoop does too. Requests are served one at a time on the thread of StartLoop.
class NetServer : public vexonetsdk::dbus::DBusServer {
  public:
    NetServer();
    ~NetServer() override;

  private:
    GObject* object = nullptr;
};

}  // namespace vexonetwork::dbus
