// IPv6 for a LAN: a provider's DHCPv6 server at the far end of one cable delegates a prefix, a host
// at the far end of another makes its address of it.

#include <gmock/gmock.h>

#include "dhcp_server.h"
#include "machine.h"

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

    static std::string LinkLocal(const std::string& ifname) {
        Arguments words;
        EXPECT_TRUE(Eventually([&] {
            words = Words(Must("ip -6 -o address show scope link -tentative dev " + ifname));
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
    void RouteToLan() {
        Serve("2001:db8:8000:100::");
        machine.Boot();
        machine.Do("vexonetctl gateway add wan0 -6 --gateway 2001:db8::1 --class ethernet");
        machine.Do("vexonetctl router6 create native wan0 --default");
        ASSERT_TRUE(Comes("2001:db8:8000:100::/64  wan0  -", Prefixes()));
        machine.Do("vexonetctl prefix allocate 2001:db8:8000:100:: lan0");
        ASSERT_TRUE(Comes("2001:db8:8000:100:", Host));
    }

    Uplink wan0 = MakeUplink(0);
    DhcpServer server;
    Machine machine;
};

TEST_F(Router6, ALanLivesOnADelegatedPrefix) {
    RouteToLan();
    EXPECT_THAT(Lan(), HasSubstr("2001:db8:8000:100::1/64"));
    EXPECT_TRUE(HostReachesProvider());
    // What no LAN has does not go back to where it came from.
    EXPECT_THAT(
        vexotest::Run(Words("ip netns exec isp-wan0 ping -c 1 -W 2 2001:db8:8000:1ff::1")).out,
        HasSubstr("Destination unreachable: No route"));
    EXPECT_TRUE(Comes("Renew message", DhcpServer::Log));
    EXPECT_EQ(machine.Do("systemctl --failed --no-legend"), "");

    machine.Do("vexonetctl router6 destroy wan0");
    EXPECT_TRUE(Comes("Release message", DhcpServer::Log));
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
    RouteToLan();
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
