#pragma once

#include <glib.h>

namespace vexonetwork::network::module {
class DeviceListModule;
}

namespace vexonetd {

/// Looks after the device list for as long as this lives. A list that is lost would hang the next
/// request that needs it, and with that the daemon: before the next one is served, the list is
/// saved and the process ends with status 1, for its supervisor to start it anew.
///
/// To be made on the thread of the main loop, after the modules.
class DeviceListWatch {
  public:
    DeviceListWatch();
    ~DeviceListWatch();
    DeviceListWatch(const DeviceListWatch&) = delete;
    DeviceListWatch& operator=(const DeviceListWatch&) = delete;

    /// Does not return when the list is lost. For the end of the loop, which may come first.
    void Check() const;

  private:
    const vexonetwork::network::module::DeviceListModule* module;
    GSource* source;
};

}  // namespace vexonetd
