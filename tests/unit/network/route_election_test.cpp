// The elections, with real uplinks and the kernel's routes.

#include <syslog.h>

#include "route_world.h"

namespace vexotest {
namespace {

using testing::ElementsAre;

std::string Gateway(const std::string& address, const std::string& interfaceClass = "ethernet") {
    return "'gateway': '" + address + "', 'class': '" + interfaceClass + "'";
}

class Election : public RouteWorld {
  protected:
    static std::string Via(const Uplink& uplink) {
        return "via " + uplink.gateway + " dev " + uplink.ifname + " src " + uplink.address;
    }

    void Refresh() { Do("REFRESH_GATEWAY", "", "ALL"); }

    Uplink wan0 = MakeUplink(0);
    Uplink wan1 = MakeUplink(1);
};

TEST_F(Election, TheFirstUsableEntryWinsAndMovesToTheFrontInMemory) {
    Add("wan0", 0, Gateway(wan0.gateway));
    Add("wan1", 1, Gateway(wan1.gateway));
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(Via(wan0)));
    const std::string file = ConfigFile("gateway_v4_priority");

    SetLink(wan0, false);
    Refresh();
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(Via(wan1)));
    EXPECT_EQ(Order(), "wan1 wan0");
    EXPECT_EQ(ConfigFile("gateway_v4_priority"), file);

    SetLink(wan0, true);
    Add("wan0", 0);
    Do("SET_SLAVE_DATA", "'ifname': 'wan0', 'slave': true");
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(Via(wan0))) << "a slave starts no election";
    Add("wan0", 0);
    EXPECT_EQ(Order(), "wan1 wan0*");
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(Via(wan1)));
}

TEST_F(Election, EntriesThatCannotCarryTheRouteArePassedOver) {
    const std::tuple<const char*, const char*, std::string> unfit[] = {
        {"no gateway", "wan0", Gateway("")},
        {"no interface", "nothere", Gateway(wan0.gateway, "vpn")},
        {"no interface, ethernet", "nothere", Gateway(wan0.gateway)},
        {"a gateway out of reach", "wan0", Gateway("203.0.113.1")},
        {"a gateway of the other family", "wan0", Gateway("2001:db8:0::1")},
        {"no address", "lo", Gateway("192.0.2.77", "vpn")},
    };
    Add("wan1", 0, Gateway(wan1.gateway));
    for (const auto& [what, ifname, members] : unfit) {
        Add(ifname, 0, members);
        EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(Via(wan1))) << what;
        EXPECT_EQ(Order(), std::string("wan1 ") + ifname) << what;
        Delete(ifname);
    }
}

TEST_F(Election, OnlyWiredEthernetNeedsLink) {
    Must("ip link add wlan0 type veth peer name ap0");
    Must("ip addr add 10.9.0.2/24 dev wlan0");
    Must("ip link set wlan0 up");
    Add("wlan0", 0, Gateway("10.9.0.1"));
    EXPECT_EQ(log.Messages().back(), "Try gateway [10.9.0.1] of [10.9.0.0/24] on [wlan0]");
    EXPECT_EQ(log.Lines().back().priority, LOG_DEBUG);
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre("via 10.9.0.1 dev wlan0 src 10.9.0.2"));
}

TEST_F(Election, WithoutAWinnerTheFormerGatewayIsRestored) {
    Must("ip route add default via " + wan0.gateway);
    Refresh();
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre("via 192.0.2.1 dev wan0")) << "an empty list";
    Add("wan1", 0, Gateway("203.0.113.1"));
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre("via 192.0.2.1 dev wan0")) << "all refused";
}

TEST_F(Election, IPv6ReplacesEveryFormerDefaultRoute) {
    Must("ip -6 route add default via 2001:db8:0::1 metric 16");
    Must("ip -6 route add default via 2001:db8:1::1 metric 32");
    Refresh();
    EXPECT_EQ(DefaultRoutes("-6").size(), 2U) << "an empty list changes nothing";

    Add("wan1", 0, Gateway("2001:db8:1::1"), "GTYPE_V6");
    EXPECT_THAT(DefaultRoutes("-6"), ElementsAre("via 2001:db8:1::1 dev wan1"));
    Add("wan0", 0, Gateway("::"), "GTYPE_V6");
    EXPECT_THAT(DefaultRoutes("-6"), ElementsAre("dev wan0"));

    Must("ip -6 route flush default");
    Add("wan0", 0, Gateway("2001:db8:7::1"), "GTYPE_V6");
    EXPECT_EQ(Order("GTYPE_V6"), "wan1 wan0") << "out of reach";
    SetLink(wan1, false);
    Refresh();
    EXPECT_EQ(Order("GTYPE_V6"), "wan1 wan0") << "nobody wins";
}

}  // namespace
}  // namespace vexotest
