#include "facts/daemon.h"

#include <vexobase/bus_address.h>
#include <vexonetwork/utils/json_reader.h>
#include <vlib/proc.h>

#include "failure.h"

namespace vexonetctl {
namespace {

using vexonetwork::dbus::NetClient;

constexpr char kPidFile[] = "/var/run/vexonetd.pid";

/// The bus itself owns this name wherever there is a bus.
bool IsBusReachable() {
    constexpr char kBusItself[] = "org.freedesktop.DBus";
    return vexonetsdk::dbus::DBusClient(kBusItself, "/", kBusItself, 0).IsServerReady();
}

}  // namespace

Json::Value RequestFor(const Family& family, const std::string& ifname) {
    Json::Value request(Json::objectValue);
    request["type"] = family.type;
    request["ifname"] = ifname;
    return request;
}

DaemonState ReadDaemonState() {
    DaemonState state;
    if (::VLIBCProcAliveByPidFile(kPidFile) == 1) {
        state.pid = ::VLIBCReadPidFile(kPidFile);
    }
    state.busReachable = IsBusReachable();
    state.serving = state.busReachable && NetClient().IsServerReady();
    return state;
}

std::string DaemonState::Trouble() const {
    if (serving) {
        return "";
    }
    if (pid <= 0) {
        return "vexonetd is not running; to start it on an appliance: systemctl start vexonetd";
    }
    const std::string runs = "vexonetd runs as pid " + std::to_string(pid);
    const std::string bus = " the bus " + vexobase::BusAddress();
    return busReachable ? runs + " but does not serve on" + bus
                              + "; it may be starting still, or DBUS_SESSION_BUS_ADDRESS names"
                                " another bus than its own"
                        : runs + " but" + bus
                              + " cannot be reached; be root or in group vexonet, and check"
                                " DBUS_SESSION_BUS_ADDRESS";
}

Daemon::Daemon() {
    if (!client.IsServerReady()) {
        throw Failure(kNotRunning, ReadDaemonState().Trouble());
    }
}

void Daemon::Refused() const {
    const std::string& reason = client.LastError();
    // So the bus begins when its policy is against it; the rest would help nobody.
    if (reason.starts_with("Rejected send message")) {
        throw Failure(kRefused,
                      "the bus does not let this user do that; members of group vexonet"
                      " may look, only root may change");
    }
    throw Failure(kRefused, "the daemon did not do it"
                                + (reason.empty() ? reason : " (" + reason + ")") + kSeeItsLog);
}

void Daemon::Send(Request request, Json::Value info) {
    if ((client.*request)(info) != 0) {
        Refused();
    }
}

void Daemon::ForgetRouter(const std::string& ifname) {
    if (client.ResetIPv6Module(ifname) != 0) {
        Refused();
    }
}

Json::Value Daemon::Devices(const std::string& source) {
    // The daemon serves one caller after another, and hooks may have it wait for 30 s.
    constexpr int kMilliseconds = 60'000;
    std::string reply;
    Json::Value list;
    if (client.NewMessage("GetDeviceListData") != 0 || client.Append(source) != 0
        || client.SendMessage(true, kMilliseconds) != 0 || client.GetReply(reply) != 0
        || !vexonetwork::utils::ParseJson(reply, list)) {
        Refused();
    }
    const Json::Value devices =
        list.isObject() ? list["ClientList"] : Json::Value(Json::arrayValue);
    return devices.isArray() ? devices : Json::Value(Json::arrayValue);
}

void Daemon::LabelDevice(const std::string& mac, const std::string& name, const std::string& type) {
    Json::Value label(Json::objectValue);
    label["macAddr"] = mac;
    label["userdef_displayName"] = name;
    label["userdef_deviceType"] = type;
    if (client.SetDeviceListData(label) != 0) {
        Refused();
    }
}

void Daemon::ForgetDevice(const std::string& mac) {
    if (client.DelDeviceListData(mac) != 0) {
        Refused();
    }
}

Json::Value Daemon::Entries(const Family& family) {
    Json::Value request(Json::objectValue);
    request["type"] = family.type;
    Json::Value entries;
    if (client.GetGatewayListData(request, entries) != 0) {
        Refused();
    }
    // An empty list comes as null.
    return entries.isArray() ? entries : Json::Value(Json::arrayValue);
}

Json::Value Daemon::Entry(const Family& family, const std::string& ifname) {
    Json::Value request = RequestFor(family, ifname);
    Json::Value entry;
    if (client.GetGatewayDataByInterface(request, entry) != 0) {
        Refused();
    }
    return entry;
}

}  // namespace vexonetctl
