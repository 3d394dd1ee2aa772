#include <vexonetsdk/dbus_client.h>
#include <vexonetwork/dbus/bus_names.h>

#include "ratio.h"
#include "support/appliance.h"

namespace vexobench {
namespace {

using vexonetsdk::dbus::DBusClient;
using vexonetwork::dbus::kBusName;

Measurement GetList() {
    vexotest::Appliance appliance;
    appliance.StartDaemon();
    for (int i = 0; i < 8; ++i) {
        appliance.Call("AddGatewayData", R"({"type": "GTYPE_V4", "priority": -1, "class": "vpn",
            "gateway": "172.16.0.1", "dns": "172.16.0.53", "ifname": "tun)"
                                             + std::to_string(i) + "\"}");
    }
    DBusClient getter(kBusName, "/", kBusName, 0);
    DBusClient pinger(kBusName, "/", "org.freedesktop.DBus.Peer", 0);
    std::string reply;
    return Alternate(
        5000,
        [&] {
            getter.NewMessage("GetGatewayListData");
            getter.Append(R"({"type": "GTYPE_V4"})");
            getter.SendMessage(true, -1);
            getter.GetReply(reply);
        },
        [&] {
            pinger.NewMessage("Ping");
            pinger.SendMessage(true, -1);
        });
}

}  // namespace

std::vector<Figure> BusFigures() {
    return {{"GetGatewayListData, 8 entries", "org.freedesktop.DBus.Peer.Ping to the same daemon",
             1.3, GetList}};
}

}  // namespace vexobench
