#pragma once

#include <json/json.h>

#include <string>

#include <vexonetwork/dbus/net_client.h>

#include "facts/family.h"

namespace vexonetctl {

/// Added where the daemon knows more than it can tell over the bus.
inline constexpr char kSeeItsLog[] = "; its log says why: journalctl -u vexonetd";

/// How the daemon and its bus stand.
struct DaemonState {
    int pid = 0;  ///< 0 when it does not run
    bool busReachable = false;
    bool serving = false;

    /// What is wrong and what to do about it; "" when nothing is.
    std::string Trouble() const;
};
DaemonState ReadDaemonState();

/// The beginning of every request about one interface.
Json::Value RequestFor(const Family& family, const std::string& ifname);

/// The running daemon. Every operation ends with its result or with a Failure.
class Daemon {
  public:
    /// A request that has no reply.
    using Request = int (vexonetwork::dbus::NetClient::*)(Json::Value&);

    /// Fails with kNotRunning when there is no daemon to ask.
    Daemon();

    void Send(Request request, Json::Value info);

    /// Has it forget the router that it follows on an interface.
    void ForgetRouter(const std::string& ifname);

    /// The devices on the LAN, an array of entries.
    /// @param source  "all", "upnp" or "kelo"
    Json::Value Devices(const std::string& source);

    /// Both ask for a device that the daemon knows; see Devices.
    void LabelDevice(const std::string& mac, const std::string& name, const std::string& type);
    void ForgetDevice(const std::string& mac);

    /// The ordered list, an array of entries.
    Json::Value Entries(const Family& family);

    /// What is known of one interface, listed or not.
    Json::Value Entry(const Family& family, const std::string& ifname);

  private:
    [[noreturn]] void Refused() const;

    vexonetwork::dbus::NetClient client;
};

}  // namespace vexonetctl
