// Gateways end to end: requests on the bus, effects in the kernel's routes and in the files.

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <map>

#include <vexonetwork/dbus/dbus_client.h>

#include "support/appliance.h"

namespace vexotest {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using vexonetwork::utils::DelGatewayInfo;
using vexonetwork::utils::GetGatewayPriority;
using vexonetwork::utils::RefreshGateway;
using vexonetwork::utils::SetGatewayInfo;

constexpr char kV4[] = "GTYPE_V4";
constexpr char kV6[] = "GTYPE_V6";
constexpr int kAppend = -1;

class GatewayStory : public testing::Test {
  protected:
    void SetUp() override { appliance.StartDaemon(); }

    static void Add(const Uplink& uplink, int priority = kAppend) {
        EXPECT_TRUE(SetGatewayInfo(uplink.ifname, kV4, uplink.gateway, Dns(uplink), "ethernet",
                                   priority, false));
    }

    static std::string Dns(const Uplink& uplink) { return uplink.gateway + "53"; }

    static std::string Via(const Uplink& uplink) {
        return "via " + uplink.gateway + " dev " + uplink.ifname + " src " + uplink.address;
    }

    Appliance appliance;
    Uplink wan0 = MakeUplink(0);
    Uplink wan1 = MakeUplink(1);
};

TEST_F(GatewayStory, TheDefaultRouteFollowsTheListAndTheCables) {
    Add(wan0);
    Add(wan1);
    ExpectDefaultRoutes("-4", {Via(wan0)});

    SetLink(wan0, false);
    EXPECT_TRUE(RefreshGateway(kV4));
    ExpectDefaultRoutes("-4", {Via(wan1)});
    EXPECT_EQ(GetGatewayPriority("wan1", kV4), 0) << "the winner moves to the front";

    SetLink(wan0, true);
    Add(wan0, 0);
    ExpectDefaultRoutes("-4", {Via(wan0)});

    EXPECT_TRUE(DelGatewayInfo("wan0", kV4, false));
    ExpectDefaultRoutes("-4", {Via(wan1)});
    EXPECT_EQ(vexotest::Run({"ping", "-c1", "-W2", wan1.gateway}).status, 0);
}

TEST_F(GatewayStory, IPv6HasItsOwnListAndDefaultRoute) {
    EXPECT_TRUE(
        SetGatewayInfo("wan0", kV6, "2001:db8:0::1", "2001:db8:0::53", "ethernet", 0, false));
    ExpectDefaultRoutes("-6", {"via 2001:db8::1 dev wan0"});
    ExpectDefaultRoutes("-4", {});
    EXPECT_TRUE(SetGatewayInfo("wan1", kV6, "::", "", "ethernet", 0, false));
    ExpectDefaultRoutes("-6", {"dev wan1"});
    EXPECT_EQ(ReadFile("/etc/iproute2/config/resolv6.conf"), "nameserver 2001:db8:0::53\n");
}

TEST_F(GatewayStory, ARestartServesTheSameLists) {
    Add(wan0);
    Add(wan1, 0);
    const Json::Value before = appliance.GatewayList(kV4);
    ASSERT_EQ(before.size(), 2U);

    EXPECT_EQ(appliance.StopDaemon(), 0);
    SetLink(wan0, false);
    appliance.StartDaemon();

    const Json::Value after = appliance.GatewayList(kV4);
    ASSERT_EQ(after.size(), 1U) << "an entry without link is dropped at the start";
    EXPECT_EQ(after[0], before[0]);
    EXPECT_THAT(appliance.Log(), HasSubstr("Interface [wan0] is not up, skip it"));
}

TEST_F(GatewayStory, FilesAreWhatTheListSays) {
    Add(wan0);
    Add(wan1, 0);
    EXPECT_EQ(ReadFile("/etc/iproute2/config/gateway_v4_priority"),
              "[0]\n\tclass=ethernet\n\tdns=198.51.100.153\n\tgateway=198.51.100.1\n"
              "\tifname=wan1\n\tslave=no\n"
              "[1]\n\tclass=ethernet\n\tdns=192.0.2.153\n\tgateway=192.0.2.1\n"
              "\tifname=wan0\n\tslave=no\n");
    EXPECT_EQ(ReadFile("/etc/iproute2/config/gateway_database"),
              "[wan0]\n\tdns=192.0.2.153\n\tgateway=192.0.2.1\n"
              "[wan1]\n\tdns=198.51.100.153\n\tgateway=198.51.100.1\n");
    EXPECT_EQ(ReadFile("/etc/iproute2/config/resolv4.conf"),
              "nameserver 198.51.100.153\nnameserver 192.0.2.153\n");
}

TEST_F(GatewayStory, WhoeverReadsAFileReadsItWhole) {
    Add(wan0);
    std::map<std::string, std::ifstream> readers;
    for (const char* name : {"gateway_v4_priority", "gateway_database", "resolv4.conf"}) {
        readers.emplace(ReadFile(std::string("/etc/iproute2/config/") + name),
                        std::string("/etc/iproute2/config/") + name);
    }
    Add(wan1, 0);
    for (auto& [former, reader] : readers) {
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), former);
    }
}

TEST_F(GatewayStory, ACleanEndLeavesNoTemporaryFile) {
    Add(wan0);
    EXPECT_TRUE(DelGatewayInfo("wan0", kV4, false));
    EXPECT_EQ(appliance.StopDaemon(), 0);
    EXPECT_THAT(vexotest::Run({"find", "/etc/iproute2", "-name", "*.tmp.*"}).out, IsEmpty());
}

}  // namespace
}  // namespace vexotest
