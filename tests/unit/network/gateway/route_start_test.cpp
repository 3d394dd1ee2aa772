// What a start makes of the files, and what becomes of entries whose interface has no link then.

#include "route_world.h"

namespace vexotest {
namespace {

using namespace testing;
using namespace vexonetwork::network::module;

const std::string kFolder = "/etc/iproute2/config/";
constexpr char kBothServers[] = "nameserver 192.0.2.53\nnameserver 198.51.100.53\n";

class Start : public RouteWorld {
  protected:
    Start() {
        Add(wan0, "192.0.2.53");
        Add(wan1, "198.51.100.53");
    }

    void Add(const Uplink& uplink, const std::string& dns) {
        RouteWorld::Add(
            uplink.ifname, -1,
            "'class': 'ethernet', 'gateway': '" + uplink.gateway + "', 'dns': '" + dns + "'");
    }

    void Restart() { ASSERT_EQ(module.InitialModule(), 0); }

    void StartWithout(const Uplink& uplink) {
        SetLink(uplink, false);
        Restart();
    }

    void Comes(const Uplink& uplink) {
        SetLink(uplink, true);
        module.OnLinkUp(uplink.ifname);
        module.Elect({});
    }

    /// The interfaces of the priority file in its order.
    static std::string Stored() {
        std::istringstream file(ConfigFile("gateway_v4_priority"));
        std::string names;
        for (std::string line; std::getline(file, line);) {
            if (line.starts_with("\tifname=")) {
                names += (names.empty() ? "" : " ") + line.substr(8);
            }
        }
        return names;
    }

    /// No entry sleeps: the list, "*" behind the slaves, is what is stored.
    void ExpectBoth(const std::string& order, const Uplink& winner, const std::string& servers) {
        EXPECT_EQ(Order(), order);
        EXPECT_EQ(Stored(), order.substr(0, 9));
        EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(RouteOf(winner)));
        EXPECT_EQ(ConfigFile("resolv4.conf"), servers);
    }

    Uplink wan0 = MakeUplink(0);
    Uplink wan1 = MakeUplink(1);
};

TEST_F(Start, WhoWaitsForALinkTakesItsPlaceAndStandsInAllFilesAgain) {
    StartWithout(wan0);
    EXPECT_EQ(Order(), "wan1");
    EXPECT_EQ(Stored(), "wan0 wan1") << "until something is written";
    RouteWorld::Add("eth7", -1, "'dns': '10.7.0.53'");
    Restart();
    EXPECT_EQ(Order(), "wan1") << "eth7 has no link";
    RouteWorld::Add("wan1", -2);
    EXPECT_EQ(Stored(), "wan1");
    EXPECT_EQ(ConfigFile("resolv4.conf"), "nameserver 198.51.100.53\nnameserver 10.7.0.53\n")
        << "no request had to change it";
    Restart();
    EXPECT_EQ(ConfigFile("resolv4.conf"), "nameserver 198.51.100.53\n");
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(RouteOf(wan1)));
    EXPECT_TRUE(module.HasGateway(GTYPE_V4, "wan0") && module.HasGateway({}, "eth7"));
    EXPECT_FALSE(module.HasGateway(GTYPE_V6, "wan0"));
    EXPECT_FALSE(Do("GET_GATEWAY_DATA_BY_INTERFACE", "'ifname': 'wan0'")["exist"].asBool());

    Comes(wan0);
    ExpectBoth("wan0 wan1", wan0, kBothServers);
    EXPECT_THAT(ConfigFile("gateway_v4_dormant"), Not(HasSubstr("wan0")));

    StartWithout(wan0);
    RouteWorld::Add("wan1", -2);
    EXPECT_EQ(Stored(), "wan1");
    SetLink(wan0, true);
    for (int start = 0; start < 2; ++start) {
        Restart();
        module.Elect({});
        ExpectBoth("wan0 wan1", wan0, kBothServers);
    }

    StartWithout(wan0);
    Do("SET_SLAVE_DATA", "'ifname': 'wan0', 'slave': true");
    EXPECT_EQ(Stored(), "wan1");
    Restart();
    Comes(wan0);
    ExpectBoth("wan1 wan0*", wan1, "nameserver 198.51.100.53\nnameserver 192.0.2.53\n");
}

TEST_F(Start, ACopyAnAdditionAndADeletionFindWhoSleeps) {
    const auto move = [this](const std::string& source, const std::string& destination) {
        Do("COPY_GATEWAY_DATA", "'interface_source': '" + source + "', 'interface_destination': '"
                                    + destination + "', 'interface_source_delete': true");
    };
    Do("SET_SLAVE_DATA", "'ifname': 'wan1', 'slave': true");
    StartWithout(wan0);
    move("wan0", "bond7");
    EXPECT_EQ(Order(), "wan1*");
    EXPECT_TRUE(module.HasGateway(GTYPE_V4, "bond7") && !module.HasGateway(GTYPE_V4, "wan0"));
    EXPECT_EQ(Do("GET_GATEWAY_DATA_BY_INTERFACE", "'ifname': 'bond7'")["gateway"], wan0.gateway)
        << "the database has it";
    RouteWorld::Add("bond7", -2, "'dns': 'NULL'");
    EXPECT_EQ(Order(), "bond7 wan1*");
    EXPECT_EQ(List()[0]["gateway"], wan0.gateway);
    EXPECT_THAT(ConfigFile("resolv4.conf"), StartsWith("nameserver 192.0.2.53\n"));
    Restart();
    EXPECT_EQ(Order(), "wan1*");
    Delete("bond7");
    Restart();
    EXPECT_FALSE(module.HasGateway(GTYPE_V4, "bond7"));
    EXPECT_EQ(ReadFile(kFolder + "gateway_v4_dormant"), "");

    SetLink(wan0, true);
    StartWithout(wan1);
    move("wan1", "wan0");
    EXPECT_EQ(Order(), "wan0*") << "with a link it has nothing to wait for";
}

TEST_F(Start, OnlySoManyBootsAreSleptThrough) {
    const auto write = [this](const std::string& boots) {
        WriteFile(kFolder + "gateway_v4_dormant",
                  "[eth7]\n\tifname=eth7\n\tboots=" + boots
                      + "\n\tboot=x\n[eth8]\n\tifname=../8\n[eth9]\n\tifname=eth9\n\tposition=-\n");
        log.Clear();
    };
    write("63");
    Restart();
    Restart();
    EXPECT_THAT(ConfigFile("gateway_v4_dormant"), HasSubstr("\tboots=64\n"));
    EXPECT_THAT(log.Messages(), IsEmpty());
    for (const char* boots : {"64", "4294967295"}) {
        write(boots);
        Restart();
        EXPECT_THAT(log.Messages(),
                    ElementsAre("Interface [eth7] has no link since 64 boots, forget it"));
        EXPECT_THAT(ConfigFile("gateway_v4_dormant"), StartsWith("[eth9]"));
    }

    Must("rm " + kFolder + "gateway_v4_priority");
    Restart();
    EXPECT_FALSE(module.HasGateway({}, "eth9")) << "the list itself was taken away";
}

TEST_F(Start, ResolversThatAKillHasLeftBehindAreMended) {
    WriteFile("/etc/vexoinfo.conf", "dns_mode=auto\n");
    const std::string right = kBothServers;
    const auto inode = [] { return Must("stat -c %i " + kFolder + "resolv4.conf"); };
    for (const std::string stale : {"", "nameserver 198.51.100.53\n", "nameserver 10.9.9.9\n"}) {
        WriteFile(kFolder + "resolv4.conf", stale);
        WriteFile("/etc/resolv.conf", "search example.net\nnameserver 10.9.9.9\n");
        Restart();
        EXPECT_EQ(ConfigFile("resolv4.conf"), right) << stale;
        EXPECT_EQ(ReadFile("/etc/resolv.conf"), "search example.net\n" + right);
    }
    const std::string before = inode();
    WriteFile("/etc/resolv.conf", "");
    StartWithout(wan1);
    EXPECT_EQ(inode() + ReadFile("/etc/resolv.conf"), before + right) << "the list has not changed";

    WriteFile(kFolder + "gateway_v4_priority", "[0]\n[1]\n\tifname=wan0\n");
    Restart();
    EXPECT_EQ(inode(), before) << "what the list should be is not known";
    Must("rm " + kFolder + "gateway_v4_priority");
    Restart();
    EXPECT_EQ(inode(), before);
}

}  // namespace
}  // namespace vexotest
