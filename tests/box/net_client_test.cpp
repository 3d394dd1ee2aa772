// What a program of its own gets from the daemon by the client classes, having set up nothing.

#include <gmock/gmock.h>

#include <vexonetwork/dbus/dbus_client.h>
#include <vexonetwork/dbus/net_client.h>

#include "support/appliance.h"

namespace vexotest {
namespace {

using namespace testing;
using namespace vexonetwork::utils;
using vexonetwork::dbus::NetClient;

Json::Value EntryOf(const std::string& ifname) {
    Json::Value request, entry;
    request["type"] = "GTYPE_V4";
    request["ifname"] = ifname;
    EXPECT_EQ(NetClient().GetGatewayDataByInterface(request, entry), 0);
    return entry;
}

TEST(NetClient, AsksAndChangesTheRunningDaemon) {
    const Uplink wan0 = MakeUplink(0);
    const Uplink wan1 = MakeUplink(1);
    Appliance appliance;
    EXPECT_FALSE(NetClient().IsServerReady());
    EXPECT_EQ(GetGatewayPriority("wan0", "GTYPE_V4"), -1);
    appliance.StartDaemon();
    EXPECT_TRUE(NetClient().IsServerReady());

    EXPECT_EQ(GetGatewayPriority("wan0", "GTYPE_V4"), -1) << "not in the list";
    for (const Uplink* uplink : {&wan0, &wan1}) {
        EXPECT_TRUE(SetGatewayInfo(uplink->ifname, "GTYPE_V4", uplink->gateway, "NULL", "ethernet",
                                   -1, false));
    }
    ExpectDefaultRoutes("-4", {RouteOf(wan0)});
    EXPECT_EQ(GetGatewayPriority("wan1", "GTYPE_V4"), 1);

    NetClient client;
    Json::Value info, list;
    info["type"] = "GTYPE_V4";
    info["ifname"] = "wan1";
    for (const double bad : {0.5, 4e9, -1e300}) {
        info["priority"] = bad;
        EXPECT_EQ(client.AddGatewayData(info), 0);
        EXPECT_EQ(GetGatewayPriority("wan1", "GTYPE_V4"), 1) << bad;
    }
    info["priority"] = 0.0;
    EXPECT_EQ(client.AddGatewayData(info), 0);
    ExpectDefaultRoutes("-4", {RouteOf(wan1)});

    info["slave"] = true;
    EXPECT_EQ(client.SetSlaveData(info), 0);
    EXPECT_EQ(EntryOf("wan1")["slave"], true);
    EXPECT_TRUE(RefreshGateway("GTYPE_V4"));
    ExpectDefaultRoutes("-4", {RouteOf(wan0)});
    info["interface_source"] = "wan0";
    info["interface_destination"] = "tun0";
    info["interface_source_delete"] = false;
    EXPECT_EQ(client.CopyGatewayData(info), 0);
    EXPECT_EQ(EntryOf("tun0")["gateway"], wan0.gateway);
    EXPECT_TRUE(DelGatewayInfo("tun0", "GTYPE_V4", false));
    EXPECT_EQ(client.GetGatewayListData(info, list), 0);
    EXPECT_EQ(list.size(), 2);
    EXPECT_EQ(client.ResetIPv6Module("wan0"), 0);
    EXPECT_EQ(client.GetDeviceListData("upnp", list), 0);
    EXPECT_TRUE(list["ClientList"].isArray());
}

}  // namespace
}  // namespace vexotest
