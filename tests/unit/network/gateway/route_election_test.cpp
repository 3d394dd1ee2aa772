// The elections, with real uplinks and the kernel's routes.

#include "route_world.h"

namespace vexotest {
namespace {

using namespace testing;
using namespace vexonetwork::network::module;

std::string Gateway(const std::string& address, const std::string& interfaceClass = "ethernet") {
    return "'gateway': '" + address + "', 'class': '" + interfaceClass + "'";
}

class Election : public RouteWorld {
  protected:
    Uplink wan0 = MakeUplink(0);
    Uplink wan1 = MakeUplink(1);
};

TEST_F(Election, OddNamesAreReadBackAndReachTheKernel) {
    Must("ip link add name #a=[ type veth peer name -6");
    Must("ip addr add 10.9.0.2/24 dev -6");
    for (const std::string ifname : {"-6", "#a=["}) {
        Must("ip link set dev " + ifname + " up");
        Add(ifname, -1, Gateway("10.9.0.1", " ]=# "));
        EXPECT_THAT(DefaultRoutes("-4"), ElementsAre("via 10.9.0.1 dev -6 src 10.9.0.2"))
            << "only wired Ethernet needs a link";
    }
    Do("SET_SLAVE_DATA", "'ifname': '#a=[', 'slave': true");
    const Json::Value list = List();
    ASSERT_EQ(module.InitialModule(), 0);
    EXPECT_EQ(List(), list);
    Delete("#a=[");
    EXPECT_EQ(Do("GET_GATEWAY_DATA_BY_INTERFACE", "'ifname': '#a=['")["gateway"], "10.9.0.1");
}

TEST_F(Election, LosersKeepTheirOrderBehindTheThird) {
    const std::tuple<std::string, std::string, std::string> types[] = {
        {"GTYPE_V4", wan0.gateway, wan1.gateway}, {"GTYPE_V6", "2001:db8::1", "2001:db8:1::1"}};
    for (const auto& [type, gateway, other] : types) {
        Add("wan8", -1, Gateway(other), type);
        Add("wan1", -1, Gateway(other), type);
        Do("SET_SLAVE_DATA", "'ifname': 'wan1', 'slave': true", type);
        Add("wan9", 1, "", type);
        Add("wan1", 0, "", type);
        Add("wan0", -1, Gateway(gateway), type);
        EXPECT_EQ(Order(type), "wan0 wan1* wan8 wan9");
    }
    const std::string file = ConfigFile("gateway_v4_priority");
    EXPECT_LT(file.find("wan8"), file.find("wan0")) << "the winner is moved in memory alone";
    Do("SET_SLAVE_DATA", "'ifname': 'wan0', 'slave': true");
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(RouteOf(wan0))) << "a slave starts no election";
    EXPECT_THAT(DefaultRoutes("-6"), ElementsAre("via 2001:db8::1 dev wan0"))
        << "a slave is passed over, whatever its gateway";
    EXPECT_FALSE(log.Has("utils", "Failed get interface flags for wan8"));
}

/// With default routes of all kinds.
class FormerRoutes : public Election {
  protected:
    FormerRoutes() {
        for (const char* route :
             {"-4 default dev wan1 metric 5 proto 99",
              "-4 default via 192.0.2.1 src 192.0.2.10 proto static",
              "-4 default via 198.51.100.1 metric 20 proto 77 mtu 1300",
              "-4 default metric 30 nexthop via 192.0.2.1 weight 3 nexthop dev wan1",
              "-6 unreachable default metric 2 proto 77", "-6 blackhole default metric 3",
              "-6 default dev wan0 metric 5 proto 99",
              "-6 default via 2001:db8::1 src 2001:db8::10",
              "-6 default via 2001:db8:1::1 metric 10 proto 77 pref high",
              "-6 default metric 2000 nexthop via 2001:db8::1 nexthop via 2001:db8:1::1",
              "-6 default via 2001:db8::1 metric 3000 expires 500"}) {
            Must("ip " + std::string(route, 2) + " route add" + (route + 2));
        }
        before = Routes();
    }

    static std::string Routes() {
        std::string text = Must("ip -d route") + Must("ip -d -6 route");
        const auto lifetime = text.find("expires ");
        EXPECT_GT(std::stoi(text.substr(lifetime + 8)), 400) << text;
        return text.erase(lifetime, 14);
    }

    void AddRefused(const std::string& type) {
        Add("wan1", 0, Gateway(type == "GTYPE_V4" ? "203.0.113.1" : "2001:db8:7::1"), type);
    }

    std::string before;
};

TEST_F(FormerRoutes, ComeBackAsTheyWereWithoutAWinner) {
    Do("REFRESH_GATEWAY", "", "ALL");
    EXPECT_EQ(Routes(), before) << "empty lists";
    AddRefused("GTYPE_V4");
    AddRefused("GTYPE_V6");
    EXPECT_EQ(Routes(), before) << "all refused";
    Do("SET_SLAVE_DATA", "'ifname': 'wan1', 'slave': true", "GTYPE_V6");
    Do("REFRESH_GATEWAY", "", "ALL");
    EXPECT_EQ(Routes(), before) << "slaves alone";
    SetLink(wan0, false);
    const std::string down = Routes();
    EXPECT_THAT(down, HasSubstr("nexthop via 192.0.2.1 dev wan0 weight 3 linkdown"));
    Do("REFRESH_GATEWAY", "", "ALL");
    EXPECT_EQ(Routes(), down) << "by a link that is down";
    EXPECT_THAT(log.Messages(), Not(Contains(HasSubstr("ailed"))));
}

TEST_F(FormerRoutes, ComeBackAtTheStartAfterAKill) {
    Must("cp /sbin/ip /sbin/ip.real");
    const auto kill = [this](const std::string& type) {
        WriteScript("/sbin/ip",
                    "case \"$*\" in *'route add'*) kill -9 $PPID;; esac\n"
                    "exec /sbin/ip.real \"$@\"\n");
        EXPECT_EXIT(AddRefused(type), KilledBySignal(SIGKILL), "");
        Must("cp /sbin/ip.real /sbin/ip");
    };
    kill("GTYPE_V4");
    kill("GTYPE_V6");
    EXPECT_THAT(DefaultRoutes("-4"), IsEmpty());
    module.InitialModule();
    EXPECT_EQ(Routes(), before);
    kill("GTYPE_V4");
    Must("ip route add default via 198.51.100.1 metric 7");
    module.InitialModule();
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre("via 198.51.100.1 dev wan1"))
        << "somebody has put another one in their place";
    EXPECT_THAT(log.Messages(), Not(Contains(HasSubstr("ailed"))));
}

TEST_F(Election, IPv6ReplacesTheDefaultRoutesOfTheMainTableAndNoOther) {
    for (const char* route :
         {"metric 16", "metric 10", "metric 1000000", "metric 1000000 table 101",
          "metric 10 table 102", "metric 1024 table 103", "metric 30 table 103"}) {
        Must("ip -6 route add default via 2001:db8:0::1 " + std::string(route));
    }
    Do("REFRESH_GATEWAY", "", "ALL");
    EXPECT_EQ(DefaultRoutes("-6").size(), 3U) << "an empty list changes nothing";
    const auto others = [] {
        return Must("ip -6 route show table 101") + Must("ip -6 route show table 102")
               + Must("ip -6 route show table 103");
    };
    const std::string before = others();
    Add("wan1", 0, Gateway("2001:db8:1::1"), "GTYPE_V6");
    EXPECT_THAT(DefaultRoutes("-6"), ElementsAre("via 2001:db8:1::1 dev wan1"));
    Add("wan0", 0, Gateway("2001:db8:7::1"), "GTYPE_V6");
    EXPECT_EQ(Order("GTYPE_V6"), "wan1 wan0") << "out of reach";
    EXPECT_EQ(others(), before);
    EXPECT_EQ(log.Messages(), std::vector<std::string>());
    Must("ip -6 route add prohibit default metric 1");
    module.Elect(GTYPE_V6);
    EXPECT_THAT(Must("ip -6 route show type prohibit"), HasSubstr("default")) << "first of all";
    Must("ip -6 route del prohibit default");

    Must("ip link add tun1000 type veth peer name far");
    Must("ip -6 addr add 2001:db8:9::10/64 dev tun1000 nodad");
    Must("ip link set tun1000 up");
    Must("ip -6 route add default via 2001:db8:9::1 metric 16");
    module.Elect(GTYPE_V6);
    EXPECT_THAT(DefaultRoutes("-6"),
                ElementsAre("via 2001:db8:9::1 dev tun1000", "via 2001:db8:1::1 dev wan1"))
        << "that tunnel is never replaced";
}

TEST_F(Election, AnIPv6RouteByTheInterfaceAloneIsLeftAgain) {
    Add("wan0", 0, Gateway("::"), "GTYPE_V6");
    Add("wan1", 1, Gateway("2001:db8:1::1"), "GTYPE_V6");
    EXPECT_THAT(DefaultRoutes("-6"), ElementsAre("dev wan0"));
    SetLink(wan0, false);
    module.Elect({});
    EXPECT_THAT(DefaultRoutes("-6"), ElementsAre("via 2001:db8:1::1 dev wan1"));
    SetLink(wan0, true);
    Add("wan0", 0, "", "GTYPE_V6");
    EXPECT_THAT(DefaultRoutes("-6"), ElementsAre("dev wan0"));
    Do("DEL_GATEWAY_DATA", "'ifname': 'wan0'", "GTYPE_V6");
    EXPECT_THAT(DefaultRoutes("-6"), ElementsAre("via 2001:db8:1::1 dev wan1"));
    Must("ip -6 route add default dev wan0 metric 7");
    module.Elect(GTYPE_V6);
    EXPECT_THAT(DefaultRoutes("-6"), ElementsAre("dev wan0", "via 2001:db8:1::1 dev wan1"))
        << "somebody else's stays";
}

TEST_F(Election, ACommandThatWasKilledSaysNothingAboutARoute) {
    Must("mv /sbin/ip /sbin/ip.real");
    WriteScript(
        "/sbin/ip",
        "case \"$*\" in *'route add default'*) mkdir /killed$1 2>/dev/null && kill -9 $$ ;; "
        "esac\nexec /sbin/ip.real \"$@\"\n");
    Add("wan0", 0, Gateway(wan0.gateway));
    Add("wan0", 0, Gateway("2001:db8::1"), "GTYPE_V6");
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(RouteOf(wan0)));
    EXPECT_THAT(DefaultRoutes("-6"), ElementsAre("via 2001:db8::1 dev wan0"));
}

}  // namespace
}  // namespace vexotest
