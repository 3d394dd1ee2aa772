// The files of the lists: their bytes, their reading at the start, writes that fail, and the
// change hooks around them.

#include <sys/stat.h>

#include <vexo/change_hook.h>

#include "route_world.h"

namespace {

std::vector<std::string> announced;

/// How far the change has come when a hook runs.
std::string ListFile() {
    return vexotest::ReadFile("/etc/iproute2/config/gateway_v4_priority").empty() ? "old" : "new";
}

}  // namespace

int VEXONetGatewayConfigChangeHook(int stage, const char* protocol, const char* ifname,
                                   const char* oldGateway, const char* newGateway) {
    announced.push_back(std::to_string(stage) + " " + protocol + " " + ifname + " " + oldGateway
                        + ">" + newGateway + " " + ListFile());
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
using testing::IsEmpty;
using vexonetwork::network::module::GATEWAY_TYPE;
using vexonetwork::network::module::GTYPE_V4;
using vexonetwork::network::module::RouteModule;

std::string File(const std::string& name) {
    return ReadFile(kFolder + name);
}

std::string Addresses(const std::string& gateway, const std::string& dns) {
    return R"("gateway": ")" + gateway + R"(", "dns": ")" + dns + "\"";
}

TEST_F(RouteWorld, EachFileHoldsWhatTheListsSay) {
    Must("rm -rf /etc/iproute2/config");
    Add("a", -1, Addresses("192.0.2.1", "192.0.2.53"));
    Add("b", -1, R"("dns": "", "class": "vpn")");
    Add("c", 0, R"("dns": "192.0.2.53")");
    Add("a", -1, R"("gateway": "::", "dns": "2001:db8::53")", "GTYPE_V6");
    Request(R"({"method": "SET_SLAVE_DATA", "type": "GTYPE_V4", "ifname": "c", "slave": true})");

    EXPECT_EQ(
        File("gateway_v4_priority"),
        "[0]\n\tclass=unknown\n\tdns=192.0.2.53\n\tgateway=192.0.2.1\n\tifname=a\n\tslave=no\n"
        "[1]\n\tclass=vpn\n\tdns=\n\tgateway=\n\tifname=b\n\tslave=no\n"
        "[2]\n\tclass=unknown\n\tdns=192.0.2.53\n\tgateway=\n\tifname=c\n\tslave=yes\n");
    EXPECT_EQ(File("gateway_database"),
              "[a]\n\tdns=192.0.2.53\n\tdns_v6=2001:db8::53\n\tgateway=192.0.2.1\n\tgateway_v6=::\n"
              "[b]\n\tdns=\n"
              "[c]\n\tdns=192.0.2.53\n");
    EXPECT_EQ(File("resolv4.conf"), "nameserver 192.0.2.53\nnameserver 192.0.2.53\n");
    EXPECT_EQ(File("resolv6.conf"), "nameserver 2001:db8::53\n");
    struct stat info {};
    ASSERT_EQ(::stat("/etc/iproute2/config/resolv4.conf", &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0644U);

    Request(R"({"method": "DEL_GATEWAY_DATA", "type": "GTYPE_V4", "ifname": "a"})");
    EXPECT_EQ(File("resolv4.conf"), "nameserver 192.0.2.53\n");
    EXPECT_THAT(File("gateway_database"), testing::StartsWith("[a]\n")) << "only added to";
}

TEST_F(RouteWorld, TheSystemsResolverFollowsWhenItIsAutomatic) {
    WriteFile("/etc/resolv.conf", "search example.test\n");
    Add("a", -1, R"("dns": "192.0.2.53")");
    EXPECT_EQ(ReadFile("/etc/resolv.conf"), "search example.test\n");
    WriteFile("/etc/vexoinfo.conf", "dns_mode=AUTO\n");
    Add("a", -2, R"("dns": "192.0.2.54")");
    EXPECT_THAT(ReadFile("/etc/resolv.conf"), testing::HasSubstr("nameserver 192.0.2.54\n"));
}

TEST_F(RouteWorld, AStartReadsSectionsInByteOrderAndDropsEntriesWithoutLink) {
    std::string text;
    for (int i = 0; i < 11; ++i) {
        const std::string name = "v" + std::to_string(i);
        Must("ip link add " + name + " type veth peer name p" + std::to_string(i));
        Must("ip link set p" + std::to_string(i) + " up");
        Must("ip link set " + name + " up");
        Add(name, -1, Addresses("192.0.2.1", "192.0.2.53"));
    }
    Request(R"({"method": "SET_SLAVE_DATA", "type": "GTYPE_V4", "ifname": "v10", "slave": true})");
    Must("ip link set p4 down");
    Must("ip link del p5");

    RouteModule restarted;
    ASSERT_EQ(restarted.InitialModule(), 0);
    ASSERT_EQ(restarted.InitialModule(), 0);
    Json::Value list;
    restarted.ProcessRequest(Parsed(R"({"method": "GET_GATEWAY_LIST_DATA", "type": "GTYPE_V4"})"),
                             list);
    std::string order;
    for (const Json::Value& entry : list) {
        order += entry["ifname"].asString() + (entry["slave"].asBool() ? "* " : " ");
    }
    EXPECT_EQ(order, "v0 v1 v10* v2 v3 v6 v7 v8 v9 ");
    EXPECT_EQ(list[0]["dns"], "192.0.2.53");
    EXPECT_TRUE(log.Has("route_module", "Interface [v4] is not up, skip it"));
    EXPECT_TRUE(log.Has("route_module", "Interface [v5] is not up, skip it"));
}

TEST_F(RouteWorld, ABrokenPriorityFileIsToldAndLeavesAnEmptyList) {
    WriteFile(kFolder + std::string("gateway_v4_priority"), "[0]\n");
    EXPECT_EQ(module.InitialModule(), 0);
    EXPECT_EQ(List(), Json::Value());
    EXPECT_TRUE(log.Has("route_module",
                        "Failed to read config [/etc/iproute2/config/gateway_v4_priority]"));
    EXPECT_EQ(module.ReadGatewayListFromFile(GATEWAY_TYPE(7)), -1);
    EXPECT_EQ(module.WriteGatewayToDatabase(GATEWAY_TYPE(7), true, true), -1);
}

TEST_F(RouteWorld, HooksFrameTheChangeAndOnlyARealOne) {
    announced.clear();
    WriteFile(kFolder + std::string("gateway_v4_priority"), "");
    Add("a", -1, Addresses("192.0.2.1", "192.0.2.53"));
    EXPECT_THAT(announced, ElementsAre("4 ipv4 a >192.0.2.1 old", "4 a 1 192.0.2.53",
                                       "5 ipv4 a >192.0.2.1 new", "5 a 1 192.0.2.53"));
    announced.clear();
    Add("a", -2, Addresses("192.0.2.1", "192.0.2.53"));
    Add("a", -2, Addresses("NULL", "NULL"));
    EXPECT_THAT(announced, IsEmpty());
    Add("a", -2, Addresses("192.0.2.2", "192.0.2.53"));
    EXPECT_THAT(announced, ElementsAre("4 ipv4 a 192.0.2.1>192.0.2.2 new",
                                       "5 ipv4 a 192.0.2.1>192.0.2.2 new"));
    announced.clear();
    Add("a", -1, R"("dns": "2001:db8::53")", "GTYPE_V6");
    EXPECT_THAT(announced, ElementsAre("4 a 1 2001:db8::53", "5 a 1 2001:db8::53"));
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
    EXPECT_TRUE(
        log.Has("route_module", "Failed to set file[/etc/iproute2/config/gateway_v4_priority]"));
    EXPECT_THAT(announced, ElementsAre("4 ipv4 b >192.0.2.2 new", "4 b 1 192.0.2.54"));
    EXPECT_EQ(module.WriteDnsFile(GTYPE_V4), -1);
    EXPECT_TRUE(log.Has("route_module", "Failed to open file[/etc/iproute2/config/resolv4.conf]"));
    EXPECT_EQ(module.WriteGatewayToDatabase(GTYPE_V4, true, true), -1);
    Must("rm /etc/iproute2/config/full");
    EXPECT_EQ(Must("grep -r . /etc/iproute2/config"), before) << "and nothing beside them";
}

TEST_F(RouteWorld, TheFirstFailedWriteEndsARequest) {
    Must("mkdir -p /etc/iproute2/config/gateway_database");
    Add("a", -1, Addresses("192.0.2.1", "192.0.2.53"));
    EXPECT_EQ(File("resolv4.conf"), "nameserver 192.0.2.53\n");
    EXPECT_TRUE(
        log.Has("route_module", "Failed to read config [/etc/iproute2/config/gateway_database]"));

    Must("rm -r /etc/iproute2/config/resolv4.conf");
    Must("mkdir /etc/iproute2/config/resolv4.conf");
    log.Clear();
    Add("a", -1, Addresses("192.0.2.1", "192.0.2.54"));
    EXPECT_EQ(log.Messages().back(), "Failed to open file[/etc/iproute2/config/resolv4.conf]");

    Must("rm -r /etc/iproute2");
    log.Clear();
    Add("b", -1);
    EXPECT_EQ(log.Messages().back(),
              "Failed to set file[/etc/iproute2/config/gateway_v4_priority]");
    EXPECT_EQ(Order(), "a b");
}

}  // namespace
}  // namespace vexotest
