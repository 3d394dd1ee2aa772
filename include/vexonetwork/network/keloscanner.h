#pragma once

#include <json/value.h>

#include <memory>

namespace vexonetwork::network {

/// The host finder: asks every minute, by UDP broadcast on the bridges, which other appliances are
/// there, and answers such questions for this one unless the configuration forbids it. The
/// datagrams are described in docs/host-finder.md. It has a thread of its own.
class KeloScanner {
  public:
    /// The one scanner of the process; never destroyed.
    static KeloScanner* Inst();

    /// Starts the thread; a running one goes on. @return 0, or -1 after a log line
    int Start();

    /// Ends the thread and waits for it. What was found stays.
    void Stop();

    /// @return {"ClientList": [...]} with "ipAddr", "macAddr", "friendlyName", "modelName",
    ///         "serial" and "firmware" of each appliance that answered the last questions
    Json::Value GetData();

  private:
    struct State;

    KeloScanner();
    ~KeloScanner();

    const std::unique_ptr<State> state;
};

}  // namespace vexonetwork::network
