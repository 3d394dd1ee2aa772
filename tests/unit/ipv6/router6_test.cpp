// Routers that come up and go, and what is left when a step of it fails.

#include <gmock/gmock.h>
#include <sys/mount.h>

#include <cstdarg>
#include <filesystem>
#include <memory>
#include <set>

#include <vexo/ipv6_conf.h>
#include <vexo/net_interface.h>
#include <vexo/systemd.h>
#include <vexonetwork/dbus/dbus_client.h>
#include <vexonetwork/ipv6/router/dhcp_pd.h>
#include <vexonetwork/ipv6/router/router6_factory.h>
#include <vexonetwork/ipv6/router/tunnel_6in4.h>
#include <vexonetwork/utils/duid.h>
#include <vlib/exec.h>

#include "support/appliance.h"
#include "support/syslog_spy.h"
#include <boost/algorithm/string/join.hpp>

namespace vexotest {
namespace {

std::vector<std::string> commands;  ///< what was run
std::string refused;                ///< commands with this text fail
std::set<std::string> units;        ///< that are active

}  // namespace

// Kernels of test machines have no sit devices, so a port stands for the tunnel.
extern "C" int VLIBCExecl(int /*options*/, const char* path, ...) {
    Arguments command{path};
    va_list rest;
    va_start(rest, path);
    while (const char* argument = va_arg(rest, const char*)) {
        command.emplace_back(argument);
    }
    va_end(rest);
    const std::string line = boost::algorithm::join(command, " ");
    commands.push_back(line);
    if (!refused.empty() && line.find(refused) != line.npos) {
        return 1;
    }
    if (command[1] == "tunnel") {
        command = Words("ip link " + command[2] + " " + command[3]
                        + (command[2] == "add" ? " type veth peer name far6" : ""));
    }
    return vexotest::Run(command).status;
}

extern "C" bool VEXOCSystemdStart(const char* unit) {
    units.insert(unit);  // also one that fails: the manager may try it again
    return refused != "start";
}
extern "C" bool VEXOCSystemdStop(const char* unit) {
    return units.erase(unit) == 1;
}
extern "C" int VEXOCSystemdActiveStatusGet(const char* unit) {
    return units.contains(unit) ? 1 : 0;
}

namespace {

using namespace vexo::network::ipv6::router;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Router = std::unique_ptr<Router6Base>;

const std::string kFolder = "/etc/sysconfig/networking/";
const std::string kWan = "wan0";
const std::string kIfcfg = "/etc/sysconfig/network-scripts/ifcfg-wan0";

class Router6 : public testing::Test {
  protected:
    Router6() {
        std::filesystem::create_directories(kFolder);
        WriteFile(kIfcfg, "BOOTPROTO=static\n");
        appliance.StartDaemon();
    }

    Router Make(const std::string& type) {
        return Router(
            factory.newRouterV6Instance(type, Parsed(R"({"wan": "wan0", "prefix": "2001:db8:5::/48",
                "remote_addr_v4": "192.0.2.1", "local_addr_v6": "2001:db8:f::2/64",
                "is_default_gateway": true})")));
    }

    Router Load() { return Router(factory.newRouterV6Instance(Parsed(R"({"wan": "wan0"})"))); }

    std::string Gateways() { return appliance.GatewayList("GTYPE_V6").toStyledString(); }

    void ExpectFailure(Router6Base& router) {
        EXPECT_FALSE(router.Create());
        ExpectNothingLeft();
    }

    void ExpectNothingLeft() {
        EXPECT_THAT(Must("ip -o link"), Not(HasSubstr("6in4")));
        EXPECT_THAT(Must("find " + kFolder + " -name ipv6*"), IsEmpty());
        EXPECT_THAT(ReadFile(kIfcfg), Not(HasSubstr("IPV6ROUTER=yes")));
        EXPECT_THAT(ReadFile("/etc/iproute2/config/gateway_v6_priority"), Not(HasSubstr("wan0")));
        EXPECT_THAT(units, IsEmpty());
    }

    Uplink uplink = MakeUplink(0);
    Appliance appliance;
    SyslogSpy log;
    Router6Factory factory;
};

TEST_F(Router6, TunnelComesAndGoes) {
    const Router router = Make("6in4");
    ASSERT_TRUE(router);
    router->attr.local_addr_v6 += "x";  // what follows the number has never counted
    ASSERT_TRUE(router->Create()) << testing::PrintToString(log.Messages());
    EXPECT_EQ(ReadFile("/proc/sys/net/ipv6/conf/all/forwarding"), "1\n");
    EXPECT_THAT(
        commands,
        ElementsAre(
            "/sbin/ip tunnel add 6in4-wan0 mode sit remote 192.0.2.1 local 192.0.2.10 ttl 255",
            "/sbin/ip link set 6in4-wan0 up",
            "/sbin/ip -6 address add 2001:db8:f::2/64 dev 6in4-wan0"));
    EXPECT_EQ(ReadFile(kIfcfg), "BOOTPROTO=static\nIPV6ROUTER=yes\n");
    EXPECT_FALSE(router->Create()) << "the device is another router's";
    EXPECT_EQ(*Load(), *router) << "also the default gateway, by the daemon's list";

    Must("ip link del 6in4-wan0");
    EXPECT_TRUE(Load()->Destroy()) << "a device that is gone holds nothing up";
    EXPECT_TRUE(log.Has("6in4", "Unable to delete tunnel device 6in4-wan0"));
    EXPECT_EQ(ReadFile(kIfcfg), "BOOTPROTO=static\nIPV6ROUTER=no\n");
    EXPECT_EQ(Gateways(), "null\n");
    ExpectNothingLeft();
    EXPECT_FALSE(Load());
    EXPECT_EQ(factory.GetError(), 0);
}

TEST_F(Router6, TunnelThatFailsLeavesNothing) {
    for (const std::string step : {"tunnel add", "link set", "address add"}) {
        refused = step;
        SCOPED_TRACE(step);
        ExpectFailure(*Make("6in4"));
    }
    refused.clear();
    const Router router = Make("6in4");
    router->attr.local_addr_v6 = "2001:db8:f::2/129";
    ExpectFailure(*router);
    EXPECT_TRUE(log.Has("6in4", "Failed to add [6in4-wan0] to device 2001:db8:f::2/129"));

    router->attr.local_addr_v6 = "2001:db8:f::2/64";
    ASSERT_EQ(::mount("small", kFolder.c_str(), "tmpfs", 0, "size=4k"), 0);
    vexotest::Run({"dd", "if=/dev/zero", "of=" + kFolder + "filler", "bs=1k"});
    ExpectFailure(*router);
    EXPECT_EQ(Gateways(), "null\n");
    ASSERT_EQ(::umount(kFolder.c_str()), 0);
    appliance.StopBus();
    ExpectFailure(*router);

    // One that was configured before is still to be restored.
    ASSERT_EQ(router->attr.SaveConfig(), 0);
    ASSERT_TRUE(router->SetSysConfig(true));
    router->keepsConfiguration = true;
    EXPECT_FALSE(router->Create());
    EXPECT_EQ(Load()->attr.lans, router->attr.lans);
    EXPECT_THAT(ReadFile(kIfcfg), HasSubstr("IPV6ROUTER=yes"));
}

TEST_F(Router6, ClientForAPrefixComesAndGoes) {
    const Router router = Make("native");
    ASSERT_TRUE(router && router->Create()) << testing::PrintToString(log.Messages());
    EXPECT_THAT(units, ElementsAre("dhclient6@wan0-pd.service"));
    EXPECT_EQ(appliance.GatewayList("GTYPE_V6")[0]["ifname"], "wan0");
    const auto listFirst = [](const std::string& ifname) {
        return vexonetwork::utils::SetGatewayInfo(ifname, "GTYPE_V6", "NULL", "NULL", "ethernet", 0,
                                                  true);
    };
    ASSERT_TRUE(listFirst(MakeUplink(1).ifname));
    const Router loaded = Load();
    EXPECT_FALSE(loaded->attr.is_default_gateway) << "another comes first now";
    EXPECT_TRUE(vexonetwork::utils::DelGatewayInfo("wan1", "GTYPE_V6", true));
    loaded->attr.prefix = "2001:db8:9::/56";
    EXPECT_TRUE(*loaded == *router) << "the server's prefix makes no other router";
    EXPECT_TRUE(loaded->Destroy());
    EXPECT_THAT(units, IsEmpty());

    EXPECT_TRUE(vexonetwork::utils::DelGatewayInfo("wan0", "GTYPE_V6", true));
    refused = "start";
    ExpectFailure(*router);
    refused.clear();
    std::filesystem::remove_all(kFolder);
    EXPECT_FALSE(router->Create());
    EXPECT_EQ(Gateways(), "null\n");
    ASSERT_TRUE(listFirst("wan0"));
    EXPECT_FALSE(router->Create());
    EXPECT_EQ(appliance.GatewayList("GTYPE_V6")[0]["ifname"], "wan0") << "it was there before";
    EXPECT_TRUE(vexonetwork::utils::DelGatewayInfo("wan0", "GTYPE_V6", true));
    std::filesystem::create_directories(kFolder);
    ExpectNothingLeft();
    appliance.StopBus();
    ExpectFailure(*router);
}

TEST_F(Router6, FactoryRefusesWhatMakesNoRouter) {
    const struct {
        std::string type, attrs, message;
    } kCases[] = {
        {"6in4", R"({"prefix": 5})", "Missing field: wan"},
        {"6in4", "[]", "Missing field: wan"},
        {"6in4", R"({"wan": "wan0"})", "Missing field: prefix"},
        {"6in4", R"({"wan": "wan0", "prefix": "", "remote_addr_v4": {}})",
         "Missing field: remote_addr_v4"},
        {"6in4", R"({"wan": "wan0", "prefix": "", "remote_addr_v4": "", "local_addr_v6": 1.5})",
         "Missing field: local_addr_v6"},
        {"6in4", R"({"wan": "nope", "prefix": "", "remote_addr_v4": "", "local_addr_v6": ""})",
         "There are not have any IPv4 address on nope."},
        {"6in4", R"({"wan": "wan0", "prefix": "", "remote_addr_v4": "-6", "local_addr_v6": ""})",
         "Invalid remote v4 address (-6)"},
        {"native", "null", "Missing field: wan"},
        {"native", R"({"wan": "../wan0"})", "wan interface ../wan0 is down"},
        {"6to4", R"({"wan": 7})", "Unable to retrieve public IPv4 on "},
        {"6to4", R"({"wan": "lan0"})", "Unable to retrieve public IPv4 on lan0"},
        {"6over4", "{}", "Bad type: 6over4"},
    };
    Must("ip link add lan0 type bridge");
    Must("ip addr add 192.168.7.1/24 dev lan0");
    for (const auto& [type, attrs, message] : kCases) {
        Router6Factory fresh;
        log.Clear();
        EXPECT_EQ(fresh.newRouterV6Instance(type, Parsed(attrs)), nullptr) << attrs;
        EXPECT_THAT(log.Messages(), testing::Contains(message)) << attrs;
        EXPECT_EQ(fresh.GetError(), 2) << attrs;
    }
    EXPECT_EQ(factory.newRouterV6Instance("off", Parsed("{}")), nullptr);
    EXPECT_EQ(factory.newRouterV6Instance(kWan, std::string("192.0.2.10")), nullptr);
    EXPECT_TRUE(log.Has("router6_factory", "No IPv6 router config for wan0 available"));
    EXPECT_EQ(factory.GetError(), 0);
}

TEST_F(Router6, RelayedTunnelFollowsItsPublicAddress) {
    const Router router = Make("6to4");
    ASSERT_TRUE(router);
    EXPECT_EQ(router->attr, Router6Attr("6to4", "wan0", "2002:c000:020a::/48", "192.0.2.10",
                                        "192.88.99.1", "2002:c000:020a::1/16", true));
    ASSERT_EQ(router->attr.SaveConfig(), 0);
    const Router moved(factory.newRouterV6Instance(kWan, std::string("198.51.100.7")));
    ASSERT_TRUE(moved);
    EXPECT_EQ(
        moved->attr.local_addr_v4 + " " + moved->attr.local_addr_v6 + " " + moved->attr.prefix,
        "198.51.100.7 2002:c633:6407::1/16 2002:c633:6407::/48");
    EXPECT_EQ(factory.newRouterV6Instance(kWan, std::string("198.51.100")), nullptr);
}

TEST_F(Router6, NamesThatLeadNowhereAreRefused) {
    Tunnel6in4 router({"6in4", "pppoe", "", "192.0.2.10", "192.0.2.1", "", false});
    EXPECT_FALSE(router.Create());
    EXPECT_TRUE(log.Has("6in4", "Failed to get WAN, may caused by broken PPPoE connection"));
    EXPECT_TRUE(router.SetSysConfig(true)) << "there is nothing to be marked";
    for (const std::string wan : {"../wan0", "elevenbytes", "wan 0", "wan\n0"}) {
        router.attr.wan = wan;
        EXPECT_FALSE(router.ValidateAttr()) << wan;
        EXPECT_FALSE(router.Create()) << wan;
    }
    EXPECT_FALSE(DHCPPD(Router6Attr("../wan0", true)).Create());
    EXPECT_THAT(log.Messages(), testing::Contains(HasSubstr("[6in4-elevenbytes]")));
    EXPECT_THAT(commands, IsEmpty());
    ExpectNothingLeft();
}

TEST_F(Router6, InterfacesAreToldApart) {
    Must("ip link add eth0 address 52:54:00:ab:0c:0d type bridge");
    Must("ip tuntap add name ppp0 mode tun");
    const std::map<std::string, int> kEthernet = {{"wan0", 1}, {"eth0", 1},  {"lo", 0},
                                                  {"ppp0", 0}, {"none", -1}, {"", -1}};
    for (const auto& [ifname, match] : kEthernet) {
        EXPECT_EQ(VEXONetIsDevTypeMatch(ifname.c_str(), VEXO_DEV_ETHERNET), match) << ifname;
    }
    EXPECT_EQ(Router6Attr::ConvertInterface("pppoe"), "") << "it is down";
    Must("ip link set ppp0 up");
    EXPECT_EQ(Router6Attr("pppoe", true).GetConfigName(), kFolder + "ipv6-ppp0");

    const std::map<std::string, int> kPrivate = {
        {"10.0.0.1", 1},    {"172.16.0.1", 1},   {"172.31.255.255", 1}, {"192.168.0.1", 1},
        {"100.64.0.1", 1},  {"169.254.1.1", 1},  {"172.32.0.1", 0},     {"11.0.0.1", 0},
        {"192.169.0.1", 0}, {"198.51.100.7", 0}, {"10.1", -1}};
    for (const auto& [address, expected] : kPrivate) {
        EXPECT_EQ(VEXONetIsPrivateIP(address.c_str()), expected) << address;
    }
    const std::string disabled = "/proc/sys/net/ipv6/conf/eth0/disable_ipv6";
    WriteFile(disabled, "1");
    EXPECT_EQ(VEXOLnxIPv6ProcAction("all/../eth0", VEXO_IPV6_ENABLE), -1);
    EXPECT_EQ(ReadFile(disabled), "1\n");
    EXPECT_EQ(VEXOLnxIPv6ProcAction("eth0", VEXO_IPV6_ENABLE), 0);
    EXPECT_EQ(ReadFile(disabled), "0\n");
    EXPECT_EQ(vexonetwork::utils::GenDUID(), R"(\x00\x03\x00\x01\x52\x54\x00\xAB\x0C\x0D)");
    Must("ip link del eth0");
    EXPECT_EQ(vexonetwork::utils::GenDUID(), "");
    EXPECT_TRUE(log.Has("gen_duid", "Error getting eth0 info"));
}

}  // namespace
}  // namespace vexotest
