// The files of the lists: their bytes, their reading at the start, writes that fail, and the
// change hooks around them.

#include <sys/stat.h>

#include <vexo/change_hook.h>

#include "route_world.h"

namespace {

std::vector<std::string> announced;

/// Whether the change is in the files yet when a hook runs.
std::string When(const char* ifname) {
    const std::string list = vexotest::ConfigFile("gateway_v4_priority");
    return list.find(ifname) == list.npos ? " before" : " after";
}

}  // namespace

int VEXONetGatewayConfigChangeHook(int stage, const char* protocol, const char* ifname,
                                   const char* oldGateway, const char* newGateway) {
    announced.push_back(std::to_string(stage) + " " + protocol + " " + ifname + " " + oldGateway
                        + ">" + newGateway + When(ifname));
    return 0;
}
int VEXONetDnsConfigChangeHook(int stage, const char* ifname, const VLIBSZLIST* servers) {
    announced.push_back(std::to_string(stage) + " " + ifname + " " + std::to_string(servers->count)
                        + " " + VLIBCSzListGet(servers, 0));
    return 0;
}

namespace vexotest {
namespace {

using testing::ElementsAre;
using vexonetwork::network::module::GTYPE_V4;

std::string Addresses(const std::string& gateway, const std::string& dns) {
    return "'gateway': '" + gateway + "', 'dns': '" + dns + "'";
}

TEST_F(RouteWorld, EachFileHoldsWhatTheListsSay) {
    Must("rm -rf /etc/iproute2/config");
    Add("a", -1, Addresses("192.0.2.1", "192.0.2.53"));
    Add("b", -1, "'dns': '', 'class': 'vpn'");
    Add("c", 0, "'dns': '192.0.2.53'");
    Add("a", -1, Addresses("::", "2001:db8::53"), "GTYPE_V6");
    Do("SET_SLAVE_DATA", "'ifname': 'c', 'slave': true");

    EXPECT_EQ(
        ConfigFile("gateway_v4_priority"),
        "[0]\n\tclass=unknown\n\tdns=192.0.2.53\n\tgateway=192.0.2.1\n\tifname=a\n\tslave=no\n"
        "[1]\n\tclass=vpn\n\tdns=\n\tgateway=\n\tifname=b\n\tslave=no\n"
        "[2]\n\tclass=unknown\n\tdns=192.0.2.53\n\tgateway=\n\tifname=c\n\tslave=yes\n");
    EXPECT_EQ(ConfigFile("gateway_database"),
              "[a]\n\tdns=192.0.2.53\n\tdns_v6=2001:db8::53\n\tgateway=192.0.2.1\n\tgateway_v6=::\n"
              "[b]\n\tdns=\n[c]\n\tdns=192.0.2.53\n");
    EXPECT_EQ(ConfigFile("resolv4.conf"), "nameserver 192.0.2.53\nnameserver 192.0.2.53\n");
    EXPECT_EQ(ConfigFile("resolv6.conf"), "nameserver 2001:db8::53\n");
    struct stat info {};
    ASSERT_EQ(::stat("/etc/iproute2/config/resolv4.conf", &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0644U);

    WriteFile("/etc/iproute2/config/gateway_database", "[z]\n\tgateway=192.0.2.7\n");
    Delete("a");
    Add("b", -2, "'gateway': '192.0.2.2'");
    EXPECT_EQ(ConfigFile("resolv4.conf"), "nameserver 192.0.2.53\n");
    EXPECT_EQ(ConfigFile("gateway_database"),
              "[b]\n\tgateway=192.0.2.2\n[c]\n\tgateway=\n[z]\n\tgateway=192.0.2.7\n")
        << "another's change is seen, and only added to";
}

TEST_F(RouteWorld, TheSystemsResolverFollowsWhenItIsAutomatic) {
    WriteFile("/etc/resolv.conf", "search example.test\n");
    Add("a", -1, "'dns': '192.0.2.53'");
    EXPECT_EQ(ReadFile("/etc/resolv.conf"), "search example.test\n");
    WriteFile("/etc/vexoinfo.conf", "dns_mode=AUTO\n");
    Add("a", -2, "'dns': '192.0.2.54'");
    EXPECT_THAT(ReadFile("/etc/resolv.conf"), testing::HasSubstr("nameserver 192.0.2.54\n"));
}

TEST_F(RouteWorld, AStartReadsSectionsInByteOrderAndDropsEntriesWithoutLink) {
    for (int i = 0; i < 11; ++i) {
        const std::string n = std::to_string(i);
        Must("ip link add v" + n + " type veth peer name p" + n);
        Must("ip link set p" + n + " up");
        Must("ip link set v" + n + " up");
        Add("v" + n, -1, Addresses("192.0.2.1", "192.0.2.53"));
    }
    Do("SET_SLAVE_DATA", "'ifname': 'v10', 'slave': true");
    const Json::Value before = List();
    Must("ip link set p4 down");
    Must("ip link del p5");
    ASSERT_EQ(module.InitialModule(), 0);
    EXPECT_EQ(Order(), "v0 v1 v10* v2 v3 v6 v7 v8 v9");
    EXPECT_EQ(List()[0], before[0]);
    EXPECT_TRUE(log.Has("route_module", "Interface [v4] is not up, skip it"));
    EXPECT_TRUE(log.Has("route_module", "Interface [v5] is not up, skip it"));
}

TEST_F(RouteWorld, ABrokenPriorityFileIsToldAndLeavesAnEmptyList) {
    WriteFile("/etc/iproute2/config/gateway_v4_priority", "[0]\n");
    EXPECT_EQ(module.InitialModule(), 0);
    EXPECT_EQ(List(), Json::Value());
    EXPECT_TRUE(log.Has("route_module",
                        "Failed to read config [/etc/iproute2/config/gateway_v4_priority]"));
}

TEST_F(RouteWorld, HooksFrameTheChangeAndOnlyARealOne) {
    const struct {
        std::string members;
        std::vector<std::string> hooks;
    } steps[] = {
        {Addresses("192.0.2.1", "192.0.2.53"),
         {"4 ipv4 eth7 >192.0.2.1 before", "4 eth7 1 192.0.2.53", "5 ipv4 eth7 >192.0.2.1 after",
          "5 eth7 1 192.0.2.53"}},
        {Addresses("192.0.2.1", "192.0.2.53"), {}},
        {Addresses("NULL", "NULL"), {}},
        {Addresses("192.0.2.2", "192.0.2.53"),
         {"4 ipv4 eth7 192.0.2.1>192.0.2.2 after", "5 ipv4 eth7 192.0.2.1>192.0.2.2 after"}},
    };
    for (const auto& step : steps) {
        announced.clear();
        Add("eth7", -2, step.members);
        EXPECT_EQ(announced, step.hooks) << step.members;
    }
}

TEST_F(RouteWorld, AFullDiskLeavesTheFormerFilesWhole) {
    Must("mkdir -p /etc/iproute2/config");
    Must("mount -t tmpfs -o size=32k tmpfs /etc/iproute2/config");
    Add("a", -1, Addresses("192.0.2.1", "192.0.2.53"));
    const std::string before = Must("grep -r . /etc/iproute2/config");
    vexotest::Run({"dd", "if=/dev/zero", "of=/etc/iproute2/config/full"});
    announced.clear();

    Add("b", -1, Addresses("192.0.2.2", "192.0.2.54"));
    EXPECT_EQ(Order(), "a b") << "the list keeps the change";
    EXPECT_THAT(announced, ElementsAre("4 ipv4 b >192.0.2.2 before", "4 b 1 192.0.2.54"));
    EXPECT_TRUE(
        log.Has("route_module", "Failed to set file[/etc/iproute2/config/gateway_v4_priority]"));
    EXPECT_EQ(module.WriteDnsFile(GTYPE_V4), -1);
    EXPECT_TRUE(log.Has("route_module", "Failed to open file[/etc/iproute2/config/resolv4.conf]"));
    EXPECT_EQ(module.WriteGatewayToDatabase(GTYPE_V4, true, true), -1);
    Must("rm /etc/iproute2/config/full");
    EXPECT_EQ(Must("grep -r . /etc/iproute2/config"), before) << "and nothing beside them";
}

TEST_F(RouteWorld, TheFirstFailedWriteEndsARequest) {
    const std::string folder = "/etc/iproute2/config/";
    Must("mkdir -p " + folder + "gateway_database");
    Add("a", -1, Addresses("192.0.2.1", "192.0.2.53"));
    EXPECT_EQ(ConfigFile("resolv4.conf"), "nameserver 192.0.2.53\n");
    EXPECT_EQ(log.Messages().back(), "Failed to read config [" + folder + "gateway_database]");

    Must("rm " + folder + "resolv4.conf");
    Must("mkdir " + folder + "resolv4.conf");
    Add("a", -1, Addresses("192.0.2.1", "192.0.2.54"));
    EXPECT_EQ(log.Messages().back(), "Failed to open file[" + folder + "resolv4.conf]");

    Must("rm -r /etc/iproute2");
    Add("b", -1);
    EXPECT_EQ(log.Messages().back(), "Failed to set file[" + folder + "gateway_v4_priority]");
    EXPECT_EQ(Order(), "a b");
}

}  // namespace
}  // namespace vexotest
