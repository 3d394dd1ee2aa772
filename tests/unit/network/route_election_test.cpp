// The elections, with real uplinks and the kernel's routes.

#include <dlfcn.h>
#include <syslog.h>

#include <vexo/default_gateway.h>

#include "route_world.h"

namespace {

bool getFails = false;
bool setFails = false;

template <typename Function>
Function* Real(Function* /*like*/, const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

int VEXONetDefaultGatewayGet(char* gateway, int size) {
    static const auto real = Real(VEXONetDefaultGatewayGet, "VEXONetDefaultGatewayGet");
    return getFails ? -1 : real(gateway, size);
}
int VEXONetDefaultGatewaySet(const char* gateway) {
    static const auto real = Real(VEXONetDefaultGatewaySet, "VEXONetDefaultGatewaySet");
    return setFails ? -1 : real(gateway);
}

namespace vexotest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kRefresh[] = R"({"method": "REFRESH_GATEWAY", "type": "ALL"})";

std::string Gateway(const std::string& address, const std::string& interfaceClass = "ethernet") {
    return R"("gateway": ")" + address + R"(", "class": ")" + interfaceClass + "\"";
}

class Election : public RouteWorld {
  protected:
    static std::string Via(const Uplink& uplink) {
        return "via " + uplink.gateway + " dev " + uplink.ifname + " src " + uplink.address;
    }

    Uplink wan0 = MakeUplink(0);
    Uplink wan1 = MakeUplink(1);
};

TEST_F(Election, TheFirstUsableEntryWinsAndMovesToTheFrontInMemory) {
    Add("wan0", 0, Gateway(wan0.gateway));
    Add("wan1", 1, Gateway(wan1.gateway));
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(Via(wan0)));
    const std::string file = ReadFile(std::string(kFolder) + "gateway_v4_priority");

    SetLink(wan0, false);
    Request(kRefresh);
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(Via(wan1)));
    EXPECT_EQ(Order(), "wan1 wan0");
    EXPECT_EQ(ReadFile(std::string(kFolder) + "gateway_v4_priority"), file);

    SetLink(wan0, true);
    Add("wan0", 0);
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(Via(wan0)));
    Request(R"({"method": "SET_SLAVE_DATA", "type": "GTYPE_V4", "ifname": "wan0", "slave": true})");
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(Via(wan0))) << "no election is made";
    Request(kRefresh);
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(Via(wan1)));
}

TEST_F(Election, EntriesThatCannotCarryTheRouteArePassedOver) {
    const struct {
        const char* what;
        const char* ifname;
        std::string members;
    } unfit[] = {
        {"no gateway", "wan0", Gateway("")},
        {"no interface", "nothere", Gateway(wan0.gateway, "vpn")},
        {"no interface, ethernet", "nothere", Gateway(wan0.gateway)},
        {"a gateway out of reach", "wan0", Gateway("203.0.113.1")},
        {"a gateway of the other family", "wan0", Gateway("2001:db8:0::1")},
        {"no address", "lo", Gateway("192.0.2.77", "vpn")},
    };
    Add("wan1", 0, Gateway(wan1.gateway));
    for (const auto& entry : unfit) {
        Add(entry.ifname, 0, entry.members);
        EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(Via(wan1))) << entry.what;
        EXPECT_EQ(Order(), std::string("wan1 ") + entry.ifname) << entry.what;
        Request(std::string(R"({"method": "DEL_GATEWAY_DATA", "type": "GTYPE_V4", "ifname": ")")
                + entry.ifname + "\"}");
    }
}

TEST_F(Election, OnlyWiredEthernetNeedsLink) {
    Must("ip link add wlan0 type veth peer name ap0");
    Must("ip addr add 10.9.0.2/24 dev wlan0");
    Must("ip link set wlan0 up");
    Add("wlan0", 0, Gateway("10.9.0.1"));
    EXPECT_TRUE(log.Has(LOG_DEBUG, "route_module", log.Lines().back().line,
                        "Try gateway [10.9.0.1] of [10.9.0.0/24] on [wlan0]"));
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre("via 10.9.0.1 dev wlan0 src 10.9.0.2"));
}

TEST_F(Election, WithoutAWinnerTheFormerGatewayIsRestored) {
    Must("ip route add default via " + wan0.gateway);
    Request(kRefresh);
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre("via 192.0.2.1 dev wan0")) << "an empty list";
    Add("wan1", 0, Gateway("203.0.113.1"));
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre("via 192.0.2.1 dev wan0")) << "all refused";
}

TEST_F(Election, AStoreThatFailsEndsTheElection) {
    Must("ip -6 route add default via 2001:db8:0::1");
    Add("wan0", 0, Gateway(wan0.gateway));
    Add("wan1", 0, Gateway("2001:db8:1::1"), "GTYPE_V6");
    for (bool* fails : {&getFails, &setFails}) {
        Must("ip -6 route replace default via 2001:db8:0::1");
        *fails = true;
        Request(kRefresh);
        *fails = false;
        EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(Via(wan0)));
        EXPECT_THAT(DefaultRoutes("-6"), ElementsAre("via 2001:db8::1 dev wan0"))
            << "IPv6 is not reached";
    }
    EXPECT_TRUE(log.Has("route_module", "Get system gateway failed"));
    EXPECT_TRUE(log.Has("route_module", "Failed to delete default gateway"));
}

TEST_F(Election, IPv6ReplacesEveryFormerDefaultRoute) {
    const auto add = [this](const char* ifname, const std::string& gateway) {
        Add(ifname, 0, Gateway(gateway), "GTYPE_V6");
    };
    Must("ip -6 route add default via 2001:db8:0::1 metric 16");
    Must("ip -6 route add default via 2001:db8:1::1 metric 32");
    Request(kRefresh);
    EXPECT_EQ(DefaultRoutes("-6").size(), 2U) << "an empty list changes nothing";

    add("wan1", "2001:db8:1::1");
    EXPECT_THAT(DefaultRoutes("-6"), ElementsAre("via 2001:db8:1::1 dev wan1"));
    add("wan0", "::");
    EXPECT_EQ(Order("GTYPE_V6"), "wan0 wan1");
    EXPECT_THAT(DefaultRoutes("-6"), testing::Contains("dev wan0"));

    Must("ip -6 route flush default");
    add("wan0", "2001:db8:7::1");
    EXPECT_EQ(Order("GTYPE_V6"), "wan1 wan0") << "out of reach";
    SetLink(wan1, false);
    Request(kRefresh);
    EXPECT_EQ(Order("GTYPE_V6"), "wan1 wan0") << "nobody wins";
}

}  // namespace
}  // namespace vexotest
