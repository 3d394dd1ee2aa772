// The elections, with real uplinks and the kernel's routes.

#include "route_world.h"

namespace vexotest {
namespace {

using testing::ElementsAre;
using namespace vexonetwork::network::module;

std::string Gateway(const std::string& address, const std::string& interfaceClass = "ethernet") {
    return "'gateway': '" + address + "', 'class': '" + interfaceClass + "'";
}

class Election : public RouteWorld {
  protected:
    Uplink wan0 = MakeUplink(0);
    Uplink wan1 = MakeUplink(1);
};

TEST_F(Election, TheFirstUsableEntryWinsAndMovesToTheFrontInMemory) {
    Add("wan0", 0, Gateway(wan0.gateway));
    Add("wan1", 1, Gateway(wan1.gateway));
    Do("SET_SLAVE_DATA", "'ifname': 'wan0', 'slave': true");
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(RouteOf(wan0))) << "a slave starts no election";
    Add("wan0", 0);
    const std::string file = ConfigFile("gateway_v4_priority");
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(RouteOf(wan1)));
    EXPECT_EQ(Order(), "wan1 wan0*");
    EXPECT_LT(file.find("wan0"), file.find("wan1"));
}

TEST_F(Election, OnlyWiredEthernetNeedsLink) {
    Must("ip link add wlan0 type veth peer name ap0");
    Must("ip addr add 10.9.0.2/24 dev wlan0");
    Must("ip link set wlan0 up");
    Add("wlan0", 0, Gateway("10.9.0.1"));
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre("via 10.9.0.1 dev wlan0 src 10.9.0.2"));
}

TEST_F(Election, AnEntryWithoutLinkAtStartTakesItsPlaceWhenTheLinkComes) {
    Add("wan0", 0, Gateway(wan0.gateway));
    Add("wan1", 1, Gateway(wan1.gateway));
    SetLink(wan0, false);
    SetLink(wan1, false);
    ASSERT_EQ(module.InitialModule(), 0);
    EXPECT_EQ(Order(), "");
    EXPECT_TRUE(module.HasGateway(GTYPE_V4, "wan0"));
    EXPECT_FALSE(module.HasGateway(GTYPE_V6, "wan0") || module.HasGateway({}, "eth7"));
    for (const char* ifname : {"wan1", "wan0", "wan0", "eth7"}) {
        module.OnLinkUp(ifname);
    }
    EXPECT_EQ(Order(), "wan0 wan1");

    ASSERT_EQ(module.InitialModule(), 0);
    Delete("wan0");
    module.OnLinkUp("wan0");
    EXPECT_EQ(Order(), "") << "who was taken out meanwhile stays out";
}

TEST_F(Election, OddNamesAreReadBackAndReachTheKernel) {
    Must("ip link add name #a=[ type veth peer name -6");
    Must("ip addr add 10.9.0.2/24 dev -6");
    for (const std::string ifname : {"#a=[", "-6"}) {
        Must("ip link set dev " + ifname + " up");
        Add(ifname, -1, Gateway("10.9.0.1", " ]=# "));
    }
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre("via 10.9.0.1 dev -6 src 10.9.0.2"));
    Do("SET_SLAVE_DATA", "'ifname': '#a=[', 'slave': true");
    const Json::Value list = List();
    ASSERT_EQ(module.InitialModule(), 0);
    EXPECT_EQ(List(), list);
    Delete("#a=[");
    EXPECT_EQ(Do("GET_GATEWAY_DATA_BY_INTERFACE", "'ifname': '#a=['")["gateway"], "10.9.0.1");
}

TEST_F(Election, WithoutAWinnerTheFormerGatewayIsRestored) {
    Must("ip route add default via " + wan0.gateway);
    Do("REFRESH_GATEWAY", "", "ALL");
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre("via 192.0.2.1 dev wan0")) << "an empty list";
    Add("wan1", 0, Gateway("203.0.113.1"));
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre("via 192.0.2.1 dev wan0")) << "all refused";
}

TEST_F(Election, IPv6ReplacesEveryFormerDefaultRoute) {
    Must("ip -6 route add default via 2001:db8:0::1 metric 16");
    Must("ip -6 route add default via 2001:db8:1::1 metric 32");
    Do("REFRESH_GATEWAY", "", "ALL");
    EXPECT_EQ(DefaultRoutes("-6").size(), 2U) << "an empty list changes nothing";
    Add("wan1", 0, Gateway("2001:db8:1::1"), "GTYPE_V6");
    EXPECT_THAT(DefaultRoutes("-6"), ElementsAre("via 2001:db8:1::1 dev wan1"));

    Add("wan0", 0, Gateway("2001:db8:7::1"), "GTYPE_V6");
    EXPECT_EQ(Order("GTYPE_V6"), "wan1 wan0") << "out of reach";
    Add("wan0", 0, Gateway("::"), "GTYPE_V6");
    EXPECT_THAT(DefaultRoutes("-6"), ElementsAre("dev wan0"));
}

}  // namespace
}  // namespace vexotest
