#pragma once

#include <json/json.h>

#include <functional>
#include <string>
#include <vector>

#include <vexobase/unique_fd.h>

#include "support/files.h"
#include "support/process.h"

namespace vexotest {

/// Paths of the programs under test.
std::string DaemonProgram();
std::string CtlProgram();

/// Runs vexonetctl with arguments that are split at blanks.
Outcome Ctl(const std::string& arguments, const Environment& added = {});

/// The same as another user. The program runs from a copy, as the folder of the build may be one
/// that only its owner may enter.
Outcome CtlAs(const std::string& user, const std::string& arguments);

/// As Ctl; a failure fails the test.
void MustCtl(const std::string& arguments);

/// One uplink: a veth pair whose far end stands in a network namespace of a provider.
struct Uplink {
    std::string ifname;    ///< near end: "wan0"
    std::string address;   ///< near end's address: "192.0.2.10"
    std::string gateway;   ///< the provider's address: "192.0.2.1"
    std::string provider;  ///< name of the namespace: "isp-wan0"
};

/// Makes an uplink in 192.0.2.0/24 (number 0), 198.51.100.0/24 (1), 203.0.113.0/24 (2) or
/// 10.N.0.0/24 (further ones), named wanN, both ends up, the link detected. With IPv6
/// 2001:db8:N::/64: the near end is ::10, the provider ::1.
Uplink MakeUplink(int number);

/// The default route over an uplink, as DefaultRoutes tells it.
std::string RouteOf(const Uplink& uplink);

/// Takes the far end down or up and waits until the near end has followed.
void SetLink(const Uplink& uplink, bool up);

/// The main table's default routes as "via GATEWAY dev IFNAME src ADDRESS" texts, in kernel
/// order; parts that a route does not have are left out. `family` is "-4" or "-6".
std::vector<std::string> DefaultRoutes(const std::string& family);

/// Waits until the default routes are these: an election takes them away for a moment, and kernel
/// events cause elections at any time. Fails the test when they do not become so.
void ExpectDefaultRoutes(const std::string& family, const std::vector<std::string>& routes);

/// The daemon on a message bus of its own, as the appliance runs it. The bus starts with the
/// object; the daemon when asked to.
class Appliance {
  public:
    Appliance();
    ~Appliance();
    Appliance(const Appliance&) = delete;
    Appliance& operator=(const Appliance&) = delete;

    /// Starts the daemon, or another program in its place, and waits until it says that it is
    /// ready.
    void StartDaemon(const Arguments& program = {DaemonProgram(), "--foreground"});

    /// Ends the daemon by `signal`.
    /// @return its exit status
    int StopDaemon(int signal = 15);

    /// Ends the message bus.
    void StopBus();

    Process& Daemon() { return daemon; }
    Process& Bus() { return bus; }

    /// Waits until the daemon tells its supervisor this, "READY=1".
    bool IsTold(const std::string& state);

    /// Where the daemon tells it: for those who start it by themselves.
    std::string NotifySocket() const { return folder / "notify"; }

    /// What the daemon has logged since the object was made.
    std::string Log() const;

    /// Calls one of the daemon's methods with one string.
    /// @return 0 with the reply's string in `reply`, or -1
    int Call(const std::string& method, const std::string& argument, std::string* reply = nullptr);

    /// Adds the uplinks wan0 and wan1, in this order, to the lists of both types.
    void ListUplinks();

    /// The gateway list of a type as the bus tells it; null when it is empty.
    Json::Value GatewayList(const std::string& type);

  private:
    TempFolder folder;
    vexobase::UniqueFd notifications;
    Process bus;
    Process daemon;
};

/// The value of a JSON text; a text that is none fails the test.
Json::Value Parsed(const std::string& text);

/// Waits until `condition` holds, at most a minute, which is for a loaded machine; for facts of the
/// kernel that no descriptor tells.
bool Eventually(const std::function<bool()>& condition);

}  // namespace vexotest
