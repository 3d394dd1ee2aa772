// IPv6 for a LAN: a provider's DHCPv6 server at the far end of one cable delegates a prefix, a host
// at the far end of another makes its address of it.

#include <gmock/gmock.h>

#include "dhcp_server.h"
#include "machine.h"
#include "support/advertiser.h"

namespace vexotest {
namespace {

using namespace testing;

constexpr char kUnit[] = "dhclient6@wan0-pd.service";

class Router6 : public testing::Test {
  protected:
    Router6() {
        Must("ip netns add host");
        Must("ip link add lan0 type veth peer name eth0 netns host");
        WriteFile("/proc/sys/net/ipv6/conf/lan0/accept_dad", "0");
        Must("ip link set lan0 up");
        Must("ip -n host link set lo up");
        Must("ip netns exec host sysctl -q net.ipv6.conf.eth0.accept_dad=0");
        Must("ip -n host link set eth0 up");
        // The way back to the customer, as a provider's router has it.
        Must("ip -n isp-wan0 route add 2001:db8:8000::/33 via " + LinkLocal("wan0") + " dev far");
    }

    static std::string LinkLocal(const std::string& ifname, const std::string& netns = "") {
        Arguments words;
        EXPECT_TRUE(Eventually([&] {
            words = Words(Must("ip " + (netns.empty() ? "" : "-n " + netns)
                               + " -6 -o address show scope link -tentative dev " + ifname));
            return words.size() > 3;
        }));
        return words.at(3).substr(0, words[3].find('/'));
    }

    /// A provider who delegates one prefix and leases an address.
    void Serve(const std::string& first, const std::string& length = "56") {
        server.Start6("", "range6 2001:db8::100 2001:db8::100; prefix6 " + first + " " + first
                              + " /" + length);
    }

    static std::string Lan() { return Must("ip -6 -o address show dev lan0 scope global"); }
    static std::string Host() { return Must("ip -n host -6 address show dev eth0 scope global"); }
    static std::string HostRoutes() { return Must("ip -n host -6 route"); }
    auto Prefixes() {
        return [this] { return machine.Do("vexonetctl prefix list"); };
    }
    AssertionResult HostReachesProvider() {
        const auto ping = [] {
            return vexotest::Run(Words("ip netns exec host ping -q -c 1 -W 1 2001:db8::1")).status
                   == 0;
        };
        return AssertionResult(Eventually(ping)) << Host() << HostRoutes();
    }

    /// A router whose first /64 is the LAN's.
    void RouteToLan(const std::string& options = "") {
        Serve("2001:db8:8000:100::");
        machine.Boot();
        machine.Do("vexonetctl router6 create native wan0 --default" + options);
        ASSERT_TRUE(Comes("2001:db8:8000:100::/64  wan0  -", Prefixes()));
        machine.Do("vexonetctl prefix allocate 2001:db8:8000:100:: lan0");
        ASSERT_TRUE(Comes("2001:db8:8000:100:", Host));
        EXPECT_THAT(HostRoutes(), Not(HasSubstr("default"))) << "we have none ourselves";
        // The provider's router, to whom a router listens too.
        Advertiser provider("isp-wan0", "far");
        const std::string gateway = LinkLocal("far", "isp-wan0");
        ASSERT_TRUE(Eventually([&] {
            provider.Send({.source = gateway});
            return Must("ip -6 route show default").find("via " + gateway) != std::string::npos;
        }));
        ASSERT_TRUE(Comes("default", HostRoutes));
    }

    /// What comes of a connection to a port where nobody listens.
    static std::string Connect(const std::string& netns, const std::string& address) {
        return vexotest::Run({"ip", "netns", "exec", netns, "timeout", "5", "bash", "-c",
                              ": </dev/tcp/" + address + "/9"})
            .err;
    }
    static std::string HostAddress() {
        const std::string shown = Host();
        const auto begin = shown.find("2001:db8:8000:100:");
        return shown.substr(begin, shown.find('/', begin) - begin);
    }

    Uplink wan0 = MakeUplink(0);
    DhcpServer server;
    Machine machine;
};

TEST_F(Router6, ALanLivesOnADelegatedPrefix) {
    RouteToLan();
    EXPECT_THAT(Lan(), HasSubstr("2001:db8:8000:100::1/64"));
    EXPECT_TRUE(HostReachesProvider());
    // Nobody outside begins connections, nor does a reloaded firewall let them.
    const auto fromOutside = [] { return Connect("isp-wan0", HostAddress()); };
    EXPECT_THAT(fromOutside(), HasSubstr("Permission denied"));
    EXPECT_THAT(Connect("host", "2001:db8::1"), HasSubstr("Connection refused")) << "an answer";
    EXPECT_THAT(
        vexotest::Run({"ip", "netns", "exec", "isp-wan0", "ping", "-c", "1", HostAddress()}).status,
        0);
    Must("nft flush ruleset");
    EXPECT_TRUE(Comes("Permission denied", fromOutside));
    // What no LAN has does not go back to where it came from.
    EXPECT_THAT(
        vexotest::Run(Words("ip netns exec isp-wan0 ping -c 1 -W 2 2001:db8:8000:1ff::1")).out,
        HasSubstr("Destination unreachable: No route"));
    EXPECT_TRUE(Comes("Renew message", DhcpServer::Log));
    EXPECT_EQ(machine.Do("systemctl --failed --no-legend"), "");

    Must("ip -6 route del default");
    EXPECT_TRUE(Goes("default", HostRoutes)) << "a router that leads nowhere is none";
    machine.Do("vexonetctl router6 destroy wan0");
    EXPECT_TRUE(Comes("Release message", DhcpServer::Log));
    EXPECT_EQ(Must("nft list ruleset"), "");
    EXPECT_EQ(Lan(), "");
    EXPECT_EQ(Must("ip -6 route show type unreachable"), "");
    EXPECT_TRUE(Comes("deprecated", Host));
    EXPECT_TRUE(Goes("default", HostRoutes));
    EXPECT_NE(machine.Try("systemctl is-active vexonet-radvd.service").status, 0);
    EXPECT_EQ(machine.Do("systemctl --failed --no-legend"), "");
}

TEST_F(Router6, ANewPrefixTakesThePlaceOfTheFormerOne) {
    RouteToLan();
    Serve("2001:db8:8000:200::");
    EXPECT_TRUE(Comes("2001:db8:8000:200::/64  wan0  lan0", Prefixes()));
    EXPECT_TRUE(Comes("2001:db8:8000:200::1/64", Lan));
    EXPECT_THAT(Lan(), Not(HasSubstr("2001:db8:8000:100:")));
    EXPECT_TRUE(Comes("2001:db8:8000:200:", Host));
    EXPECT_TRUE(Comes("deprecated", Host)) << "the former one";
    EXPECT_TRUE(Goes("2001:db8:8000:100::/64", HostRoutes));
    EXPECT_TRUE(HostReachesProvider());

    // The provider has nothing any more.
    server.Stop();
    EXPECT_TRUE(Goes("wan0", Prefixes()));
    EXPECT_TRUE(Goes("2001:db8", Lan));
    Serve("2001:db8:8000:400::");
    EXPECT_TRUE(Comes("2001:db8:8000:400::/64  wan0  lan0", Prefixes()));
}

TEST_F(Router6, EverythingIsThereAgainAfterARestart) {
    RouteToLan(" --open");
    EXPECT_THAT(machine.Do("vexonetctl router6 show wan0"), HasSubstr("from outside     open"));
    EXPECT_THAT(Connect("isp-wan0", HostAddress()), HasSubstr("Connection refused"));
    const std::size_t releases = Count(DhcpServer::Log(), "Release message");
    const std::string announcer = machine.PidOf("vexonet-radvd.service");
    machine.Do("systemctl restart vexonetd.service");
    machine.Do("vexonetctl router6 restore");
    EXPECT_EQ(machine.PidOf("vexonet-radvd.service"), announcer);
    EXPECT_THAT(Host(), Not(HasSubstr("deprecated")));

    Must("ip -6 address flush dev lan0 scope global");
    Must("ip -n host -6 address flush dev eth0 scope global");
    machine.Reboot();
    EXPECT_TRUE(Comes("2001:db8:8000:100:", Host)) << "before its client has been told again";
    EXPECT_TRUE(HostReachesProvider());
    EXPECT_EQ(Count(DhcpServer::Log(), "Release message"), releases) << "the LAN keeps its prefix";
    EXPECT_TRUE(Eventually([&] { return machine.PidOf(kUnit) != "0"; }));

    // An interface that comes late, by its link.
    Must("ip link del lan0");
    Must("ip link add lan0 type veth peer name eth0 netns host");
    Must("ip link set lan0 up");
    Must("ip -n host link set eth0 up");
    EXPECT_TRUE(Comes("2001:db8:8000:100::1/64", Lan));
    machine.CutPowerAndBoot();
    EXPECT_TRUE(Comes("2001:db8:8000:100::1/64", Lan));
    EXPECT_EQ(machine.Do("systemctl --failed --no-legend"), "");
}

/// The client is started before the router is configured; here it has its prefix long before.
TEST_F(Router6, APrefixThatComesBeforeTheConfigurationIsNotLost) {
    Serve("2001:db8:8000:100::");
    machine.Boot();
    machine.Do("systemd-run --quiet --unit=holder flock /run/vexo/ipv6_routers.lock sleep 60");
    EXPECT_TRUE(Eventually([&] {
        return machine.Try("flock --nonblock /run/vexo/ipv6_routers.lock true").status != 0;
    }));
    machine.Do("systemd-run --quiet --unit=creator vexonetctl router6 create native wan0");
    EXPECT_TRUE(Comes("2001:db8:8000:100::/56",
                      [&] { return machine.Try("cat /run/vexo/router6/wan0.delegated").out; }));
    EXPECT_EQ(machine.Do("vexonetctl router6 list --json"), "[]");
    machine.Do("systemctl stop holder.service");
    EXPECT_TRUE(Comes("2001:db8:8000:101::/64  wan0  -", Prefixes()));

    // Who stops the client may be about to destroy the router: it stays stopped.
    machine.Do(std::string("systemctl stop ") + kUnit);
    EXPECT_TRUE(Goes("wan0", Prefixes()));
    machine.Do("vexonetctl router6 restore");
    EXPECT_EQ(machine.PidOf(kUnit), "0");
}

TEST_F(Router6, ClientsForAnAddressAndForAPrefixRunBesideEachOther) {
    Serve("2001:db8:8000:100::");
    WriteFile("/etc/sysconfig/network-scripts/ifcfg-wan0", "IPV6_METHOD=dhcp\n");
    machine.Boot();
    const auto address = [] { return Must("ip -6 -o address show dev wan0 to 2001:db8::100"); };
    ASSERT_TRUE(Comes("2001:db8::100", address));
    machine.Do("systemctl start dhclient6@wan0-pd.service");
    const auto renewals = [](const char* what) { return Count(DhcpServer::Log(), what); };
    EXPECT_TRUE(Eventually([&] { return renewals("Reply PD") >= 4 && renewals("Reply NA") >= 6; }))
        << DhcpServer::Log();
    machine.Do("systemctl restart dhclient6@wan0-na.service");
    const std::size_t former = renewals("Reply NA");
    EXPECT_TRUE(Eventually([&] { return renewals("Reply NA") >= former + 3; }))
        << DhcpServer::Log();
    EXPECT_THAT(address(), HasSubstr("2001:db8::100"));
    machine.Do("systemctl stop dhclient6@wan0-pd.service");
    EXPECT_THAT(address(), HasSubstr("2001:db8::100"));
}

TEST_F(Router6, WhatAServerMustNotDelegateIsLeftOut) {
    Serve("ff02::", "48");
    machine.Boot();
    machine.Do("vexonetctl router6 create native wan0");
    const auto log = [&] { return machine.Do("journalctl --unit dhclient6@wan0-pd.service"); };
    EXPECT_TRUE(Comes("refused: prefix ff02::/48", log));
    EXPECT_EQ(machine.Do("vexonetctl prefix list"), "PREFIX  WAN  LAN");
    for (const char* unit : {"vexonet-router6.service", "vexonet-radvd.service"}) {
        Must(std::string("systemd-analyze security --offline=true --threshold=30 --no-pager ")
             + unit);
    }
}

}  // namespace
}  // namespace vexotest
