#pragma once

#include <json/value.h>

#include <memory>

namespace vexonetwork::network {

/// Lists the devices on bridges that announce themselves by UPnP (UPnP Device Architecture 1.1,
/// section 1): root devices are searched for at the start and every five minutes, announcements and
/// farewells are followed in between. It has a thread of its own; whoever starts and stops it does
/// so on one thread.
class UpnpScanner {
  public:
    /// The one scanner of the process; never destroyed.
    static UpnpScanner* Inst();

    /// Starts the thread; a running one goes on. @return 0, or -1 after a log line
    int Start();

    /// Ends the thread and waits for it. What was found stays.
    void Stop();

    /// @return {"ClientList": [...]} with "ipAddr", "friendlyName", "modelName",
    ///         "modelDescription", "manufacturer" and "upnp_location"; a member that a device's
    ///         description does not have is left out. In the order of addresses; of several root
    ///         devices at one address the one with the least USN stands for all. From any thread
    Json::Value GetData();

  private:
    struct State;

    UpnpScanner();
    ~UpnpScanner();

    std::unique_ptr<State> state;
};

}  // namespace vexonetwork::network
